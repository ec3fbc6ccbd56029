// The log writer on spdlog. Each line is handed to the system at once, so that a process that dies leaves its last
// words; lines are few at the levels that run in production.
#include "hostkit/log.h"

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <boost/make_shared.hpp>
#include <cstdarg>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "hostkit/format_text.h"

namespace {

constexpr std::size_t rotate_at_bytes = 64U << 20;
constexpr std::size_t rotated_files = 3;

std::string without_control_bytes(const std::string& text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string clean;
    clean.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            clean += c;
        } else {
            clean += {'\\', 'x', digits[byte >> 4], digits[byte & 0xF]};
        }
    }
    return clean;
}

class spdlog_writer final : public CLogWriterInterface {
public:
    explicit spdlog_writer(const hostkit::log_options& options) : level_(options.level) {
        spdlog::sink_ptr sink;
        if (options.file.empty()) {
            sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
        } else {
            sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(options.file, rotate_at_bytes, rotated_files);
        }
        logger_ = std::make_unique<spdlog::logger>("index_iface", std::move(sink));
        logger_->set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %t %v", spdlog::pattern_time_type::utc);
        logger_->set_level(spdlog::level::trace);
        logger_->flush_on(spdlog::level::trace);
        // A log that cannot be written has nowhere to complain to, and must not stop the work.
        logger_->set_error_handler([](const std::string&) {});
    }

    int GetLogLevel() const override { return level_; }

    void WriteLog(int level, const char*, int, int, int, const char* format, ...) override
        __attribute__((format(printf, 7, 8))) {
        std::va_list arguments;
        va_start(arguments, format);
        try {
            const std::string text = without_control_bytes(hostkit::format_text(format, arguments));
            logger_->log(spdlog::level::info, "{} {}", level, text);
        } catch (const std::exception&) {
            // Without memory the line is lost; its caller goes on.
        }
        va_end(arguments);
    }

private:
    const int level_;
    std::unique_ptr<spdlog::logger> logger_;
};

}  // namespace

void hostkit::open_log(const log_options& options) {
    try {
        g_ptrLogWriter = boost::make_shared<spdlog_writer>(options);
    } catch (const spdlog::spdlog_ex& failure) {
        throw std::runtime_error("cannot open the log file " + options.file + ": " + failure.what() + ".");
    }
}
