// The host's time stamp.
#pragma once

#include <cstdint>
#include <ctime>

#include "host/visibility.h"

/// A count of 100-nanosecond ticks since 1601-01-01. 0 is a clear stamp, which stands for no time.
class IIF_HOST_API CTimeStamp {
public:
    CTimeStamp() noexcept = default;
    explicit CTimeStamp(std::uint64_t ticks) noexcept : ticks_(ticks) {}

    /// The present moment.
    static CTimeStamp Now() noexcept;

    /// True for a clear stamp.
    bool IsClear() const noexcept { return ticks_ == 0; }

    /// Seconds and nanoseconds since the Unix epoch; a clear stamp gives 0 and 0.
    std::timespec AsTimeSpec() const noexcept;

private:
    std::uint64_t ticks_ = 0;
};
