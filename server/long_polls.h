// Waiters without threads: each is a callback that runs when its key is woken or its time is over.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace index_server {

/// Any thread may call any operation. Each callback runs exactly once, without any lock of this class, and must
/// not block for long; what it throws is logged.
class long_polls {
public:
    long_polls();
    /// Stops.
    ~long_polls();
    long_polls(const long_polls&) = delete;
    long_polls& operator=(const long_polls&) = delete;

    /// Takes a waiter. False, with `done` untouched, once stopped: the caller then answers by itself.
    bool add(const std::string& key, std::chrono::milliseconds limit, const std::function<void()>& done);

    /// Runs the callbacks of all that wait for the key, on the calling thread.
    void wake(const std::string& key);

    /// Runs all callbacks and takes no more.
    void stop();

private:
    using clock = std::chrono::steady_clock;
    struct waiter {
        std::string key;
        std::function<void()> done;
    };

    void run();
    template <class Test>
    std::vector<waiter> take(Test test);

    std::mutex mutex_;  // guards waiters_ and stopping_; never held while a callback runs
    std::condition_variable changed_;
    std::multimap<clock::time_point, waiter> waiters_;  // by the end of their time
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace index_server
