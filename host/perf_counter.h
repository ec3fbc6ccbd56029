// The host's timing counters. The library adds the inline layer: what is off costs one test.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/visibility.h"

/// Event of the host that may announce new figures; the library passes null.
class LwEvent;

/// Kind of a counter; the library knows the value 0 alone.
enum CTRBASETYPE : int { CTRBASETYPE_DEFAULT = 0 };

/// Counts and times spans by id. Spans of one id may overlap between threads; a stop without a start of its own thread
/// counts nothing, and neither does a start that finds no memory. Any thread.
class IIF_HOST_API ThrdPerfCounter {
public:
    explicit ThrdPerfCounter(LwEvent* event);
    ~ThrdPerfCounter();
    ThrdPerfCounter(const ThrdPerfCounter&) = delete;
    ThrdPerfCounter& operator=(const ThrdPerfCounter&) = delete;

    /// Makes the counter `id` under its name. The bool is false.
    void AddPerfCounter(int id, const std::string& name, CTRBASETYPE type, bool reserved);

    /// Seconds that a reader of the figures may take them to cover.
    void SetInterval(long seconds) { interval = seconds; }

    void StartPerfCounter(const char* text, int id) {
        if (enabled) {
            _StartPerfCounter(text, id);
        }
    }

    void StopPerfCounter(const char* text, int id, std::uint64_t value) {
        if (enabled) {
            _StopPerfCounter(text, id, value);
            if (log_on_stop) {
                _LogPerfCounters(text, "For All The Files", -1);
            }
        }
    }

    /// Writes all counters to the log, under `label` when there is one.
    void LogPerfCounters(const char* text, const char* label, std::int64_t value) {
        if (enabled) {
            _LogPerfCounters(text, label != nullptr ? label : "For All The Files", value);
        }
    }

    void ResetPerfCounters(const char* text, const char* label, std::int64_t value) {
        if (enabled && reset_enabled) {
            _ResetPerfCounters(text, label != nullptr ? label : "For All The Files", value);
        }
    }

private:
    // NOLINTBEGIN(bugprone-reserved-identifier): the host's own names
    void _StartPerfCounter(const char* text, int id);
    void _StopPerfCounter(const char* text, int id, std::uint64_t value);
    void _LogPerfCounters(const char* text, std::string label, std::int64_t value);
    void _ResetPerfCounters(const char* text, std::string label, std::int64_t value);
    // NOLINTEND(bugprone-reserved-identifier)

    bool reset_enabled = true;
    bool enabled = true;
    long interval = 0;
    bool log_on_stop = false;
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
