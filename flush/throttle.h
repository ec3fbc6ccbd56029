// The delay that slows producers down while deliveries cannot keep up.
#pragma once

#include <cstdint>

/// Milliseconds of sleep for a change that leaves `num_items` pending where `flush_after_count` are allowed. Grows with
/// the square of the excess; single precision, the quotient first. Without a limit but that of its type.
std::uint32_t throttle_delay_ms(std::int32_t num_items, std::uint32_t flush_after_count);
