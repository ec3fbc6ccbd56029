// The journal files of a state directory: finding them, reading their lines, judging them.
#include "iif/journal_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "hostkit/descriptor.h"
#include "iif/exit_code.h"
#include "iif/journal_line.h"

namespace iif {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t most_faults = 10;

[[noreturn]] void cannot_read(const fs::path& path, const std::string& reason) {
    throw program_error(exit_code::cannot_reach, "Cannot read " + path.string() + ": " + reason + ".");
}

// Puts lines together out of blocks, holding at most one line in memory.
class line_joiner {
public:
    explicit line_joiner(const std::function<void(const raw_line&)>& visit) : visit_(visit) {}

    void take(std::string_view block) {
        while (!block.empty()) {
            const std::size_t feed = block.find('\n');
            keep(block.substr(0, feed));
            if (feed == std::string_view::npos) return;
            emit(true);
            block.remove_prefix(feed + 1);
        }
    }

    void finish() {
        if (!line_.empty()) emit(false);
    }

private:
    void keep(std::string_view part) {
        const std::size_t room = longest_line - line_.size();
        too_long_ = too_long_ || part.size() > room;
        line_.append(part.substr(0, room));
    }

    void emit(bool complete) {
        visit_({line_, ++number_, complete, too_long_});
        line_.clear();
        too_long_ = false;
    }

    const std::function<void(const raw_line&)>& visit_;
    std::string line_;
    std::uint64_t number_ = 0;
    bool too_long_ = false;
};

void add_fault(journal_report& report, std::uint64_t number, const std::string& fault) {
    if (++report.fault_count <= most_faults) report.faults.push_back("line " + std::to_string(number) + ": " + fault);
}

}  // namespace

std::vector<journal_directory> find_journals(const fs::path& directory) {
    std::map<fs::path, std::vector<fs::path>> found;
    std::error_code error;
    fs::recursive_directory_iterator entry(directory, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const fs::path& path = entry->path();
        std::error_code ignored;  // a file that is gone by now is none of ours
        const fs::file_status status = entry->symlink_status(ignored);
        if (fs::is_directory(status) && path.extension() == ".bkp") entry.disable_recursion_pending();
        if (fs::is_regular_file(status) && path.filename().string().starts_with("collect_file_"))
            found[path.parent_path()].push_back(path);
    }
    if (error) cannot_read(directory, error.message());
    if (found.empty())
        throw program_error(exit_code::not_found, "There are no journal files in or below " + directory.string() +
                                                      "; name a journal directory or a state directory.");
    std::vector<journal_directory> result;
    for (auto& [path, files] : found) {
        std::sort(files.begin(), files.end());
        result.push_back({path, std::move(files)});
    }
    return result;
}

void for_each_line(const fs::path& file, const std::function<void(const raw_line&)>& visit) {
    const hostkit::descriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!fd) cannot_read(file, std::strerror(errno));
    line_joiner joiner(visit);
    std::string block(std::size_t{1} << 16, '\0');
    for (;;) {
        const ssize_t got = ::read(fd.get(), block.data(), block.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) cannot_read(file, std::strerror(errno));
        if (got == 0) break;
        joiner.take(std::string_view(block.data(), static_cast<std::size_t>(got)));
    }
    joiner.finish();
}

journal_report inspect_journal(const fs::path& file) {
    journal_report report;
    for_each_line(file, [&](const raw_line& line) {
        report.size_bytes += line.text.size() + (line.complete ? 1 : 0);
        if (!line.complete) report.cut_bytes = line.text.size();
        if (line.text.empty()) return;
        if (line.complete) ++report.lines;
        if (!line.complete)
            add_fault(report, line.number, "the last line is incomplete");
        else if (line.too_long)
            add_fault(report, line.number, "it is too long");
        else if (std::string fault = parse_journal_line(line.text).fault; !fault.empty())
            add_fault(report, line.number, fault);
    });
    return report;
}

}  // namespace iif
