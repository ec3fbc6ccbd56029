// Scope guards for the two sides of cl_lock. The write guard can let go for the time of a delivery or a sleep.
#pragma once

#include "host/concurrency.h"

class read_guard {
public:
    explicit read_guard(ZyComplexLock& lock) : lock_(lock) { lock_.rdlock(); }
    ~read_guard() { lock_.unlock(); }
    read_guard(const read_guard&) = delete;
    read_guard& operator=(const read_guard&) = delete;

private:
    ZyComplexLock& lock_;
};

class write_guard {
public:
    explicit write_guard(ZyComplexLock& lock) : lock_(lock) { retake(); }
    ~write_guard() { release(); }
    write_guard(const write_guard&) = delete;
    write_guard& operator=(const write_guard&) = delete;

    /// What was read under the lock before may no longer hold after retake().
    void release() {
        if (held_) {
            held_ = false;
            lock_.unlock();
        }
    }
    void retake() {
        lock_.rwlock();
        held_ = true;
    }

private:
    ZyComplexLock& lock_;
    bool held_ = false;
};
