// Leaving within a bound. The library's object may go only when no call is inside it, and going waits for its thread,
// so each of these waits is cut short by the bound; what cannot be ended stays, and ends with the process.
#include <thread>
#include <utility>

#include "share/share.h"
#include "share/share_state.h"

namespace share_host {

std::shared_ptr<deletion> deletion::start(index_iface* object) {
    auto shared = std::make_shared<deletion>();
    std::thread([shared, object] {
        delete object;
        const std::lock_guard guard(shared->lock_);
        shared->done_ = true;
        shared->changed_.notify_all();
    }).detach();
    return shared;
}

bool deletion::wait_until(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock guard(lock_);
    return changed_.wait_until(guard, deadline, [&] { return done_; });
}

bool share::leave(std::chrono::milliseconds bound) {
    const auto until = std::chrono::steady_clock::now() + bound;
    {
        const std::lock_guard guard(state_->lock);
        state_->open = false;
    }
    if (state_->object) {
        // Ending the worker comes first: it also wakes the calls that wait for a delivery.
        const bool worker_ended = state_->worker->end(until);
        std::unique_lock guard(state_->lock);
        const bool calls_ended = state_->changed.wait_until(guard, until, [&] { return state_->calls == 0; });
        // An object with a call inside it stays where it is.
        if (!worker_ended || !calls_ended) return false;
        state_->ending = deletion::start(std::exchange(state_->object, nullptr));
    }
    return !state_->ending || state_->ending->wait_until(until);
}

}  // namespace share_host
