// What the program prints: objects in three forms, and the progress of a pass.
#include "iif/output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <cmath>
#include <cstdio>

#include "core/time_units.h"
#include "iif/time_text.h"
#include "share/encoding.h"
#include "share/record_json.h"

namespace iif {
namespace {

namespace json = boost::json;

const char* type_name(std::uint32_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return "file";
        case S_IFDIR:
            return "directory";
        case S_IFLNK:
            return "link";
        case S_IFSOCK:
            return "socket";
        case S_IFIFO:
            return "fifo";
        case S_IFBLK:
            return "block";
        case S_IFCHR:
            return "character";
        default:
            return "unknown";
    }
}

// As `ls -l` shows it.
std::string mode_text(const index_iface_props& props) {
    if (!props.mode_valid) return "??????????";
    const std::uint32_t mode = props.mode;
    static constexpr std::string_view kinds = "?pc?d?b?-?l?s???";
    std::string text(1, kinds[(mode & S_IFMT) >> 12]);
    for (int shift = 6; shift >= 0; shift -= 3) {
        const std::uint32_t bits = mode >> shift;
        text += (bits & 4) ? 'r' : '-';
        text += (bits & 2) ? 'w' : '-';
        text += (bits & 1) ? 'x' : '-';
    }
    const auto mark = [&](std::uint32_t bit, std::size_t place, char with, char without) {
        if (mode & bit) text[place] = text[place] == 'x' ? with : without;
    };
    mark(S_ISUID, 3, 's', 'S');
    mark(S_ISGID, 6, 's', 'S');
    mark(S_ISVTX, 9, 't', 'T');
    return text;
}

std::string number_or_mark(bool valid, long long number) {
    return valid ? std::to_string(number) : "?";
}

std::string wide_head(const index_iface_props& props) {
    char head[160];
    std::snprintf(head, sizeof head, "%s %7s %7s %12s %20s ", mode_text(props).c_str(),
                  number_or_mark(props.uid_valid, props.uid).c_str(),
                  number_or_mark(props.gid_valid, props.gid).c_str(),
                  number_or_mark(props.size != -1, props.size).c_str(),
                  props.mtime == -1 ? "?" : format_time(props.mtime).c_str());
    return head;
}

std::string json_line(const index_iface_props& props) {
    json::object line = share_host::props_to_json(props);
    if (props.mode_valid) line["type"] = type_name(props.mode);
    return json::serialize(line);
}

std::string time_left_text(double seconds) {
    const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
    if (whole < 60) return std::to_string(whole) + " s left";
    if (whole < 3600) return std::to_string(whole / 60) + " min left";
    return std::to_string(whole / 3600) + " h " + std::to_string(whole / 60 % 60) + " min left";
}

// The length of the valid UTF-8 sequence that `text` begins with; 0 when there is none.
std::size_t sequence_length(std::string_view text) {
    const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(text[place]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    // Overlong forms, surrogates and what lies above the last code point show in the second byte.
    const unsigned char second = byte(1);
    const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                       (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return wrong ? 0 : length;
}

}  // namespace

output_form chosen_form(bool json, bool wide) {
    if (json) return output_form::json;
    return wide ? output_form::wide : output_form::plain;
}

bool is_terminal(int fd) {
    return ::isatty(fd) == 1;
}

std::string printable(std::string_view raw) {
    std::string text;
    while (!raw.empty()) {
        const auto first = static_cast<unsigned char>(raw.front());
        std::size_t length = sequence_length(raw);
        // The C1 controls, U+0080 to U+009F, move a cursor too.
        const bool c1 = first == 0xC2 && length == 2 && static_cast<unsigned char>(raw[1]) < 0xA0;
        if (length == 0 || c1 || first < 0x20 || first == 0x7F || first == '\\') {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02X", first);
            text += first == '\\' ? "\\\\" : escape;
            length = 1;
        } else {
            text += raw.substr(0, length);
        }
        raw.remove_prefix(length);
    }
    return text;
}

std::string object_line(const index_iface_props& props, std::string_view label, output_form form, bool for_terminal) {
    if (form == output_form::json) return json_line(props);
    const auto name = [&](std::string_view encoded) {
        const std::string raw = share_host::decode_text(encoded);
        return for_terminal ? printable(raw) : raw;
    };
    if (form == output_form::plain) return name(label);
    std::string line = wide_head(props) + name(label);
    if (!props.link_target.empty()) line += " -> " + name(props.link_target);
    return line;
}

std::string extent_line(const index_iface_props& props, output_form form) {
    if (form == output_form::json) return json_line(props);
    const std::string number = number_or_mark(props.extent_number != -1, props.extent_number);
    const std::string size = number_or_mark(props.extent_size != -1, props.extent_size);
    if (form == output_form::plain) return number + " " + size;
    const index_iface_time_t second = props.vtime / ns_per_second;
    char head[128];
    std::snprintf(head, sizeof head, "%10s %12s %10s %20s ", number.c_str(), size.c_str(),
                  number_or_mark(props.extent_type != -1, props.extent_type).c_str(),
                  props.vtime == -1 ? "?" : format_time(second).c_str());
    return head + printable(props.version_guid);
}

std::string size_text(std::uint64_t bytes) {
    static constexpr const char* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024) return std::to_string(bytes) + " bytes";
    auto amount = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; amount >= 1024 && unit + 1 < std::size(units); ++unit)
        amount /= 1024;
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", amount, units[unit]);
    return text;
}

std::string count_text(std::uint64_t count, std::string_view noun) {
    std::string text = std::to_string(count) + " ";
    text += noun;
    if (count != 1) text += noun.ends_with("ch") ? "es" : "s";
    return text;
}

progress_line::progress_line() : terminal_(is_terminal(STDERR_FILENO)), begin_(clock::now()), last_(begin_) {}

progress_line::~progress_line() {
    if (drawn_) std::fputs("\r\033[K", stderr);
}

void progress_line::show(std::uint64_t objects, std::uint64_t changes, std::optional<std::uint64_t> expected) {
    const auto now = clock::now();
    if (now - last_ < (terminal_ ? std::chrono::milliseconds(200) : std::chrono::milliseconds(5000))) return;
    last_ = now;
    const double seconds = std::chrono::duration<double>(now - begin_).count();
    const double rate = static_cast<double>(objects) / seconds;
    std::string line = count_text(objects, "object") + ", " + count_text(changes, "change") + ", " +
                       std::to_string(static_cast<std::uint64_t>(rate)) + " a second";
    // What little has been seen in the first moments says nothing about the rest.
    if (expected && *expected > objects && objects > *expected / 50)
        line += ", about " + time_left_text(static_cast<double>(*expected - objects) / rate);
    if (terminal_)
        std::fprintf(stderr, "\r\033[K%s", line.c_str());
    else
        std::fprintf(stderr, "%s\n", line.c_str());
    std::fflush(stderr);
    drawn_ = terminal_;
}

}  // namespace iif
