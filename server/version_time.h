// Arithmetic of version and deletion times. Nothing overflows: a time beyond the range stands at its end.
#pragma once

#include <cstdint>
#include <limits>

#include "server/collect_line.h"

namespace index_server {

inline constexpr std::int64_t ns_per_second = 1000000000;

/// The second that a moment lies in.
inline std::int64_t second_of(std::int64_t ns) {
    const std::int64_t quotient = ns / ns_per_second;
    return ns % ns_per_second < 0 ? quotient - 1 : quotient;
}

/// The last nanosecond of a second.
inline std::int64_t last_ns_of(std::int64_t second) {
    if (second >= std::numeric_limits<std::int64_t>::max() / ns_per_second)
        return std::numeric_limits<std::int64_t>::max();
    if (second <= std::numeric_limits<std::int64_t>::min() / ns_per_second)
        return std::numeric_limits<std::int64_t>::min();
    return second * ns_per_second + (ns_per_second - 1);
}

/// The first nanosecond of a second.
inline std::int64_t first_ns_of(std::int64_t second) {
    const std::int64_t last = last_ns_of(second);
    return last < std::numeric_limits<std::int64_t>::min() + ns_per_second ? std::numeric_limits<std::int64_t>::min()
                                                                           : last - (ns_per_second - 1);
}

/// The earlier of two ends in seconds, where 0 is none.
inline std::int64_t earlier_end(std::int64_t a, std::int64_t b) {
    if (a == 0) return b;
    return b == 0 || a < b ? a : b;
}

/// When the version that a line tells of came to be: the time that the line gives; otherwise the end of the second of
/// its status change, so that it is not before any other change of that second; otherwise its arrival.
inline std::int64_t version_time(const collect_line& line, std::int64_t arrival) {
    if (line.vtime) return *line.vtime;
    return line.ctime ? last_ns_of(*line.ctime) : arrival;
}

}  // namespace index_server
