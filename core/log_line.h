// One log line of the library. The arguments are evaluated only when the line will be written.
#pragma once

#include "host/log.h"

/// Levels in use: -1 errors; 1 start-up facts and management messages; 2 deliveries; 4 cache dumps; 5 throttle delays
/// and replay trace; 6 the flush thread; 7 per-item trace.
inline bool log_level_is_on(int level) {
    return g_ptrLogWriter && g_ptrLogWriter->GetLogLevel() >= level;
}

#define IIF_LOG(level, ...)                                                                      \
    do {                                                                                         \
        if (log_level_is_on(level)) {                                                            \
            g_ptrLogWriter->WriteLog((level), __PRETTY_FUNCTION__, __LINE__, 0, 0, __VA_ARGS__); \
        }                                                                                        \
    } while (false)

#define IIF_LOG_ERROR(...) IIF_LOG(-1, __VA_ARGS__)
