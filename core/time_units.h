// Conversions between the seconds and the nanoseconds of records and queries.
#pragma once

#include "core/records.h"

constexpr index_iface_time_t ns_per_second = 1000000000;

/// Seconds times 10^9. Not checked for overflow: a product out of range wraps.
constexpr index_iface_time_t index_iface_sec_to_ns(long long seconds) {
    return static_cast<index_iface_time_t>(static_cast<unsigned long long>(seconds) *
                                           static_cast<unsigned long long>(ns_per_second));
}

/// The upper bound of a query's time range.
constexpr index_iface_time_t upper_bound_of(const index_iface_browse_fields& fields) {
    return fields.before_time != 0 ? index_iface_sec_to_ns(fields.before_time) : fields.real_before_time;
}
