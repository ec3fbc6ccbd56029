// Leaving within a bound. The library's object may go only when no call is inside it, and going waits for its thread,
// so each of these waits is cut short by the bound; what cannot be ended stays, and ends with the process.
#include <thread>
#include <utility>

#include "share/share.h"
#include "share/share_state.h"

namespace share_host {
namespace {

using deadline = std::chrono::steady_clock::time_point;

/// Deletes the object on a thread that may take longer than the caller. True when it is gone.
bool delete_in_time(index_iface* object, deadline until) {
    struct progress {
        std::mutex lock;
        std::condition_variable changed;
        bool done = false;
    };
    const auto shared = std::make_shared<progress>();
    std::thread([shared, object] {
        delete object;
        const std::lock_guard guard(shared->lock);
        shared->done = true;
        shared->changed.notify_all();
    }).detach();
    std::unique_lock guard(shared->lock);
    return shared->changed.wait_until(guard, until, [&] { return shared->done; });
}

}  // namespace

bool share::leave(std::chrono::milliseconds bound) {
    const deadline until = std::chrono::steady_clock::now() + bound;
    {
        const std::lock_guard guard(state_->lock);
        state_->open = false;
        if (!state_->object) return true;
    }
    // Ending the worker comes first: it also wakes the calls that wait for a delivery.
    const bool worker_ended = state_->worker->end(until);
    std::unique_lock guard(state_->lock);
    const bool calls_ended = state_->changed.wait_until(guard, until, [&] { return state_->calls == 0; });
    // An object with a call inside it stays where it is.
    if (!worker_ended || !calls_ended) return false;
    return delete_in_time(std::exchange(state_->object, nullptr), until);
}

}  // namespace share_host
