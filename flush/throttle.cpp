// The throttle delay.
#include "flush/throttle.h"

#include <algorithm>

#include "core/index_iface.h"

std::uint32_t throttle_delay_ms(std::int32_t num_items, std::uint32_t flush_after_count) {
    const auto excess = static_cast<std::int32_t>(static_cast<std::uint32_t>(num_items) - flush_after_count);
    if (excess <= 0) {
        return 0;
    }
    if (flush_after_count == 0) {
        return static_cast<std::uint32_t>(excess);
    }
    const float quotient = static_cast<float>(num_items) / static_cast<float>(flush_after_count);
    const float product = quotient * static_cast<float>(excess);
    const auto whole = static_cast<std::int64_t>(product);  // below 2^62, so it fits
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(whole, 0, UINT32_MAX));
}

// locks: cl_lock held for writing; the caller sleeps after releasing it
std::uint32_t index_iface::calc_throttle_delay() const {
    return throttle_delay_ms(cur_cache->num_items, flush_after_count);
}
