// One line of a collect file, understood. A line is "*??", then fields of the form "|<TAG>value", then "|" and a line
// feed; there is no escape, so a value ends where "|<" begins the next field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace index_server {

/// Longest line that is read, in bytes, without its line feed.
inline constexpr std::size_t max_collect_line_bytes = std::size_t{1} << 20;

/// Longest GUID and longest name of a custom property, in bytes: every engine's indexes take keys of this length.
inline constexpr std::size_t max_collect_key_bytes = 1024;

enum class collect_op { none, add, update, remove };

/// The fields of a line. What the line does not carry is empty. Texts point into the line.
struct collect_line {
    collect_op op = collect_op::none;
    bool is_extent = false;
    std::string_view version_guid;  ///< of VGID, or of UKEY on an updated extent
    std::string_view object_guid;   ///< never empty
    std::string_view parent_guid;
    std::string_view link_target;
    std::string_view xattr;
    std::string_view name;
    std::optional<std::int64_t> vtime;  ///< ns; all other times are seconds
    std::optional<std::int64_t> vtime_sec;
    std::optional<std::int64_t> object_type;
    std::optional<std::int64_t> size;
    std::optional<std::int64_t> mode;
    std::optional<std::int64_t> uid;
    std::optional<std::int64_t> gid;
    std::optional<std::int64_t> atime;
    std::optional<std::int64_t> ctime;
    std::optional<std::int64_t> mtime;
    std::optional<std::int64_t> dtime;
    std::optional<std::int64_t> extent_type;
    std::optional<std::int64_t> extent_size;
    std::optional<std::int64_t> extent_flag;
    std::optional<std::int64_t> extent_number;
    /// Names without their prefix, in the order of the line.
    std::vector<std::pair<std::string_view, std::string_view>> custom_props;
};

/// Reads a line, which comes without its line feed, into `line`. Returns why it cannot be understood, or an empty text.
/// The name is the last field and goes to the line's end, whatever bytes it holds.
std::string parse_collect_line(std::string_view text, collect_line& line);

}  // namespace index_server
