// Running totals of one index_iface object.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/visibility.h"

/// Ten totals since construction or the last clear. Any thread; the fields are independent of each other.
struct IIF_API index_iface_stats {
    index_iface_stats() { clear(); }

    /// Stores 0 into each field, one at a time.
    void clear();

    std::atomic<std::uint64_t> adds;
    std::atomic<std::uint64_t> updates;
    std::atomic<std::uint64_t> deletes;
    std::atomic<std::uint64_t> renames;
    std::atomic<std::uint64_t> finds;
    std::atomic<std::uint64_t> browse_extents;
    std::atomic<std::uint64_t> browse_children;
    std::atomic<std::uint64_t> flush_successes;
    std::atomic<std::uint64_t> flush_fails;
    std::atomic<std::uint64_t> delay_ms;
};
