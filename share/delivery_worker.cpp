// Each request takes a ticket, the number of the next flush to begin. A flush that ends well serves all tickets up to
// its own number.
#include "share/delivery_worker.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace share_host {

using steady = std::chrono::steady_clock;

struct delivery_worker::inner {
    std::function<int()> flush;  // fixed

    std::mutex lock;  // guards all below; never held during a flush
    std::condition_variable_any changed;
    std::uint64_t requested = 0;
    std::uint64_t ended = 0;      // the last flush that returned
    std::uint64_t delivered = 0;  // the last one that returned 0
    int last_failure = 0;
    steady::time_point fresh_at = steady::now();
    bool ending = false;
    bool finished = false;
};

delivery_worker::delivery_worker(std::function<int()> flush) : inner_(std::make_shared<inner>()) {
    inner_->flush = std::move(flush);
    std::thread([shared = inner_] { run(shared); }).detach();
}

delivery_worker::~delivery_worker() {
    end(steady::now());
}

void delivery_worker::run(const std::shared_ptr<inner>& shared) {
    std::unique_lock guard(shared->lock);
    for (;;) {
        shared->changed.wait(guard, [&] { return shared->ending || shared->requested > shared->ended; });
        if (shared->ending) break;
        const std::uint64_t ticket = shared->requested;
        const steady::time_point began = steady::now();
        guard.unlock();
        const int ret = shared->flush();
        guard.lock();
        shared->ended = ticket;
        if (ret == 0) {
            shared->delivered = ticket;
            shared->fresh_at = began;
        } else {
            shared->last_failure = ret;
        }
        shared->changed.notify_all();
    }
    shared->finished = true;
    shared->changed.notify_all();
}

freshness delivery_worker::deliver(std::chrono::milliseconds timeout, std::stop_token stop) {
    std::unique_lock guard(inner_->lock);
    // A request that is not being worked on yet also covers this one; one that is may have begun too early.
    const std::uint64_t ticket = ++inner_->requested;
    inner_->changed.notify_all();
    inner_->changed.wait_for(guard, stop, timeout, [&] { return inner_->ending || inner_->ended >= ticket; });
    freshness result;
    result.fresh = inner_->delivered >= ticket;
    if (!result.fresh) {
        if (inner_->ended >= ticket) result.ret = inner_->last_failure;
        const auto age = steady::now() - inner_->fresh_at;
        result.stale_ms = std::chrono::duration_cast<std::chrono::milliseconds>(age).count();
    }
    return result;
}

bool delivery_worker::end(steady::time_point deadline) {
    std::unique_lock guard(inner_->lock);
    inner_->ending = true;
    inner_->changed.notify_all();
    return inner_->changed.wait_until(guard, deadline, [&] { return inner_->finished; });
}

}  // namespace share_host
