// The clock: 100-nanosecond ticks since 1601, made from the system's real-time clock.
#include "host/clock.h"

namespace {

constexpr std::uint64_t ticks_per_second = 10'000'000;
constexpr std::int64_t seconds_from_1601_to_1970 = 11'644'473'600;

}  // namespace

CTimeStamp CTimeStamp::Now() noexcept {
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto seconds = static_cast<std::uint64_t>(now.tv_sec + seconds_from_1601_to_1970);
    return CTimeStamp(seconds * ticks_per_second + static_cast<std::uint64_t>(now.tv_nsec) / 100);
}

std::timespec CTimeStamp::AsTimeSpec() const noexcept {
    if (IsClear()) return {0, 0};
    // Whole seconds first, so that a moment before 1970 keeps a nanosecond part that is not negative.
    return {static_cast<std::time_t>(static_cast<std::int64_t>(ticks_ / ticks_per_second) - seconds_from_1601_to_1970),
            static_cast<long>(ticks_ % ticks_per_second * 100)};
}
