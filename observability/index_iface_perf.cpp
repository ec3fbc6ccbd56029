// The timing counters: whether they are in use, and which there are.
#include "observability/index_iface_perf.h"

#include <memory>

#include "core/allocation.h"
#include "core/index_iface.h"
#include "core/log_line.h"
#include "core/polled.h"

bool g_enable_perf = false;
ThrdPerfCounter* g_idx_iface_perf_counter = nullptr;

namespace {

constexpr long interval_seconds = 300;

struct perf_row {  // NOLINT(clang-analyzer-optin.performance.Padding): nine rows, in the order of AddPerfCounter
    int id;
    const char* name;
    CTRBASETYPE type;
};

constexpr perf_row g_idx_iface_perf_counters[] = {
    {perf_init, "init", CTRBASETYPE_DEFAULT},
    {perf_flush, "flush", CTRBASETYPE_DEFAULT},
    {perf_find_by_guid, "find_by_guid", CTRBASETYPE_DEFAULT},
    {perf_find_by_path, "find_by_path", CTRBASETYPE_DEFAULT},
    {perf_browse_by_guid, "browse_by_guid", CTRBASETYPE_DEFAULT},
    {perf_browse_by_path, "browse_by_path", CTRBASETYPE_DEFAULT},
    {perf_browse_file_extents, "browse_file_extents", CTRBASETYPE_DEFAULT},
    {perf_browse_extents_not_backedup, "browse_extents_not_backed_up", CTRBASETYPE_DEFAULT},
    {perf_browse_items_older_than_days, "browse_items_older_than_days", CTRBASETYPE_DEFAULT},
};

}  // namespace

// The first object that enables the counters decides for the process; while they are off each start asks anew.
void index_iface::init_perf(ZYPlatformInfo& platform_info) {
    if (read_polled(g_enable_perf)) {
        return;
    }
    unsigned disabled = 0;
    platform_info.getNumber("Lumo", "nlumoDisablePerfCounters", disabled);
    if (disabled != 0) {
        IIF_LOG(1, "INDEX_IFACE: Info: performance counters are disabled.");
        return;
    }
    std::unique_ptr<ThrdPerfCounter> counter(make_or_null<ThrdPerfCounter>(nullptr));
    if (!counter) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: Failed to allocate memory for index interface performance counters.");
        return;
    }
    counter->SetInterval(interval_seconds);
    for (const perf_row& row : g_idx_iface_perf_counters) {
        counter->AddPerfCounter(row.id, row.name, row.type, false);
    }
    g_idx_iface_perf_counter = counter.release();
    write_polled(g_enable_perf, true);  // last, so that who sees it finds the counters made
}

void index_iface_log_perf_counters(const std::string& text) {
    if (read_polled(g_enable_perf)) {
        g_idx_iface_perf_counter->LogPerfCounters(text.c_str(), nullptr, -1);
    }
}

void start_perf_counter(const char* text, int id) {
    if (read_polled(g_enable_perf)) {
        g_idx_iface_perf_counter->StartPerfCounter(text, id);
    }
}

void stop_perf_counter(const char* text, int id) {
    if (read_polled(g_enable_perf)) {
        g_idx_iface_perf_counter->StopPerfCounter(text, id, 0);
    }
}
