// The event that wakes the flush thread.
#pragma once

#include "host/concurrency.h"

/// Owns one host event. Any thread may set and wait.
class ZyEvent {
public:
    /// Throws the text "Not enough memory to initialize ZyEvent" as a const char* when there is no memory.
    explicit ZyEvent(bool set);
    ~ZyEvent();
    ZyEvent(const ZyEvent&) = delete;
    ZyEvent& operator=(const ZyEvent&) = delete;

    /// Blocks until the event is set.
    void wait();
    /// Blocks until the event is set or `wait_ms` milliseconds have gone by.
    void wait(unsigned long wait_ms);
    void set();

private:
    ZyEventH* event_;
};
