// One thread that looks after the ends of all waiters' times.
#include "server/long_polls.h"

#include <exception>
#include <utility>

#include "hostkit/log.h"

namespace index_server {

namespace {

/// One waiter's failure must reach neither the others nor the thread that woke them.
void run_callback(const std::function<void()>& done) {
    try {
        done();
    } catch (const std::exception& failure) {
        HOSTKIT_LOG(-1, "index server: a waiter could not be answered: %s", failure.what());
    }
}

}  // namespace

long_polls::long_polls() : thread_([this] { run(); }) {}

long_polls::~long_polls() {
    stop();
}

bool long_polls::add(const std::string& key, std::chrono::milliseconds limit, const std::function<void()>& done) {
    const std::lock_guard lock(mutex_);
    if (stopping_) return false;
    const auto at = waiters_.emplace(clock::now() + limit, waiter{key, done});
    if (at == waiters_.begin()) changed_.notify_one();
    return true;
}

void long_polls::wake(const std::string& key) {
    std::vector<waiter> woken;
    {
        const std::lock_guard lock(mutex_);
        woken = take([&](clock::time_point, const waiter& w) { return w.key == key; });
    }
    for (const waiter& w : woken)
        run_callback(w.done);
}

void long_polls::stop() {
    std::vector<waiter> all;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        all = take([](clock::time_point, const waiter&) { return true; });
        changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
    for (const waiter& w : all)
        run_callback(w.done);
}

void long_polls::run() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (waiters_.empty()) {
            changed_.wait(lock);
        } else {
            // A copy: the waiter may be woken and gone while this waits.
            const clock::time_point end = waiters_.begin()->first;
            changed_.wait_until(lock, end);
        }
        const clock::time_point now = clock::now();
        const std::vector<waiter> over = take([&](clock::time_point end, const waiter&) { return end <= now; });
        if (over.empty()) continue;
        lock.unlock();
        for (const waiter& w : over)
            run_callback(w.done);
        lock.lock();
    }
}

template <class Test>
std::vector<long_polls::waiter> long_polls::take(Test test) {
    std::vector<waiter> taken;
    for (auto at = waiters_.begin(); at != waiters_.end();) {
        if (test(at->first, at->second)) {
            taken.push_back(std::move(at->second));
            at = waiters_.erase(at);
        } else {
            ++at;
        }
    }
    return taken;
}

}  // namespace index_server
