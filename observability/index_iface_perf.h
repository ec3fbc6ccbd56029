// Timing of the slow operations, for all objects of the process together.
#pragma once

#include <string>

#include "core/visibility.h"
#include "host/perf_counter.h"

/// Counters are in use. Set by the first `init` that finds them not disabled, and true from then on.
extern IIF_API bool g_enable_perf;

/// The one counter object; null until counters are in use, and never deleted.
extern IIF_API ThrdPerfCounter* g_idx_iface_perf_counter;

/// Ids of the counters. The last one stands without an operation.
enum perf_id {
    perf_init,
    perf_flush,
    perf_find_by_guid,
    perf_find_by_path,
    perf_browse_by_guid,
    perf_browse_by_path,
    perf_browse_file_extents,
    perf_browse_extents_not_backedup,
    perf_browse_items_older_than_days
};

/// Writes the counters to the log under a text of the host's choice; nothing while they are off. Any thread.
IIF_API void index_iface_log_perf_counters(const std::string& text);

void start_perf_counter(const char* text, int id);
void stop_perf_counter(const char* text, int id);
