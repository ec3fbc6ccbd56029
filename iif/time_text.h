// Moments as people write them on a command line, and as the program prints them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace iif {

/// Reads a moment: RFC 3339 with Z or an offset ("2024-05-01T12:00:00+02:00", a fraction is cut off), seconds since
/// the epoch ("1714557600"), or a span before `now_s` ("2 hours ago", also seconds, minutes, days and weeks). Returns
/// seconds since the epoch; nothing when the text is none of these or the moment is not after the epoch's first second.
std::optional<std::int64_t> parse_time(std::string_view text, std::int64_t now_s);

/// RFC 3339 in UTC, "2024-05-01T10:00:00Z".
std::string format_time(std::int64_t seconds);

}  // namespace iif
