// The running totals.
#include "core/stats.h"

#include <array>
#include <string>
#include <utility>

#include "core/index_iface.h"
#include "core/polled.h"
#include "observability/index_iface_perf.h"

// Not one atomic step: a change at the same moment may raise a field before or after it is cleared.
void index_iface_stats::clear() {
    delay_ms = 0;
    flush_fails = 0;
    flush_successes = 0;
    browse_children = 0;
    browse_extents = 0;
    finds = 0;
    renames = 0;
    deletes = 0;
    updates = 0;
    adds = 0;
}

void index_iface::get_counters(std::map<std::string, std::string>& counters) {
    const std::array<std::pair<const char*, const std::atomic<std::uint64_t>*>, 10> fields{{
        {"index.adds", &stats.adds},
        {"index.updates", &stats.updates},
        {"index.deletes", &stats.deletes},
        {"index.renames", &stats.renames},
        {"index.finds", &stats.finds},
        {"index.browse_extents", &stats.browse_extents},
        {"index.browse_children", &stats.browse_children},
        {"index.flush_successes", &stats.flush_successes},
        {"index.flush_fails", &stats.flush_fails},
        {"index.delay_ms", &stats.delay_ms},
    }};
    for (const auto& [key, value] : fields) {
        counters[key] = std::to_string(value->load());
    }
}

void index_iface::clear_counters() {
    stats.clear();
    if (read_polled(g_enable_perf)) {
        g_idx_iface_perf_counter->ResetPerfCounters("PerfCtr", nullptr, -1);
    }
}
