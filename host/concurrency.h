// The host's lock, event, thread and sleep.
#pragma once

#include <memory>
#include <string>

#include "host/visibility.h"

/// Reader/writer lock. Any thread; not recursive. Waiting writers are not starved by new readers.
class IIF_HOST_API ZyComplexLock {
public:
    ZyComplexLock();
    ~ZyComplexLock();
    ZyComplexLock(const ZyComplexLock&) = delete;
    ZyComplexLock& operator=(const ZyComplexLock&) = delete;

    /// Takes the lock shared. Returns 0.
    int rdlock();
    /// Takes the lock exclusively. Returns 0.
    int rwlock();
    /// Releases whichever side the calling thread holds. Returns 0.
    int unlock();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// An event that remembers one set until a wait takes it. Any thread may set and wait.
class IIF_HOST_API ZyEventH {
public:
    /// `set` makes it set from the start.
    explicit ZyEventH(bool set);
    ~ZyEventH();
    ZyEventH(const ZyEventH&) = delete;
    ZyEventH& operator=(const ZyEventH&) = delete;

    /// Blocks until the event is set and resets it.
    void Wait();
    /// The same with a bound in milliseconds. True when the event was set, false when the time ran out.
    bool Wait(unsigned long wait_ms);
    /// Sets the event and wakes one waiter.
    void Set();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// Starts detached threads.
class IIF_HOST_API ZYThread {
public:
    /// Runs `entry(argument)` on a thread of its own that nobody joins. False when it could not be started.
    bool createDetachedThread(void* (*entry)(void*), void* argument);
    /// The text of the last failure, empty when there was none.
    std::string getLastError() const;

private:
    std::string last_error_;
};

/// Sleeps `duration_ms` milliseconds. The caller's source file and line are for diagnosis only.
IIF_HOST_API void XOSLEEP_InTeRnAl(unsigned long duration_ms, const char* file, int line);
