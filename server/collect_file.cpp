// A file of one part is parsed once, as it is read. A larger one is checked first, and which part each line belongs to
// is remembered; then it is read once more for each part.
#include "server/collect_file.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <limits>
#include <utility>

#include "server/line_reader.h"

namespace index_server {

namespace {

std::size_t parts_of(const std::string& path, std::uint64_t part_bytes) {
    std::error_code unreadable;
    const std::uintmax_t size = std::filesystem::file_size(path, unreadable);
    constexpr std::uintmax_t most_parts = std::numeric_limits<std::uint16_t>::max();
    // The reading says what is wrong with a file without a size.
    return unreadable ? 1 : static_cast<std::size_t>(std::min(size / part_bytes + 1, most_parts));
}

}  // namespace

std::string_view owner_of(const collect_line& line) {
    return line.is_extent && !line.parent_guid.empty() ? line.parent_guid : line.object_guid;
}

collect_file::collect_file(const std::string& path, std::uint64_t part_bytes)
    : path_(path), parts_(parts_of(path, part_bytes)) {
    collect_line line;
    read([&](std::string_view text) {
        ++lines_;
        if (parts_ == 1) return keep(text, lines_);
        std::string reason = parse_collect_line(text, line);
        if (!reason.empty()) return reason;
        const std::size_t part = std::hash<std::string_view>()(owner_of(line)) % parts_;
        part_of_line_.push_back(static_cast<std::uint16_t>(part));
        return reason;
    });
}

const std::deque<numbered_line>& collect_file::part(std::size_t which) {
    if (parts_ == 1) return kept_;
    kept_.clear();
    texts_.clear();
    std::int64_t number = 0;
    read([&](std::string_view text) {
        const bool wanted = part_of_line_.at(static_cast<std::size_t>(number++)) == which;
        return wanted ? keep(text, number) : std::string();
    });
    return kept_;
}

/// Gives all lines to `take` until it answers with a reason to stop.
template <class Take>
void collect_file::read(const Take& take) {
    line_reader lines(path_, max_collect_line_bytes);
    std::string_view text;
    while (error_.empty()) {
        switch (lines.next(text)) {
            case line_reader::result::end:
                return;
            case line_reader::result::line:
                error_ = take(text);
                break;
            case line_reader::result::too_long:
                ++lines_;
                error_ = "line too long";
                break;
            case line_reader::result::incomplete:
                ++lines_;
                error_ = "no line feed at the end of the file";
                break;
        }
    }
}

std::string collect_file::keep(std::string_view text, std::int64_t number) {
    numbered_line& line = kept_.emplace_back();
    line.number = number;
    return parse_collect_line(texts_.keep(text), line.fields);
}

}  // namespace index_server
