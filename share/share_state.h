// What the parts of the share have in common: the library's object and the gate in front of it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "core/index_iface.h"
#include "share/delivery_worker.h"
#include "share/share.h"

namespace share_host {

/// The end of an object, which waits for the library's thread and so may take longer than anybody wants to wait.
class deletion {
public:
    /// Deletes the object on a thread of its own.
    static std::shared_ptr<deletion> start(index_iface* object);

    /// True when the object is gone.
    bool wait_until(std::chrono::steady_clock::time_point deadline);

private:
    std::mutex lock_;  // guards done_
    std::condition_variable changed_;
    bool done_ = false;
};

struct share::state {
    explicit state(share_options given) : options(std::move(given)) {}

    const share_options options;

    mutable std::mutex lock;  // guards `open` and `calls`; never held during a call into the library
    mutable std::condition_variable changed;
    bool open = false;
    mutable unsigned calls = 0;

    // Both are set before `open` becomes true. The object is owned, and deleted only when `open` is false, `calls` is 0
    // and the worker has ended; where that takes too long it stays for good.
    index_iface* object = nullptr;
    std::unique_ptr<delivery_worker> worker;
    std::shared_ptr<deletion> ending;  // of the object that was there; used by the thread that leaves alone

    void notice(const std::string& text) const {
        if (options.notice) options.notice(text);
    }
};

/// A call under way. While it lives the object stays.
class call_scope {
public:
    template <class State>
    explicit call_scope(const State& state) : lock_(state.lock), changed_(state.changed), calls_(state.calls) {
        const std::lock_guard guard(lock_);
        entered_ = state.open;
        if (entered_) ++calls_;
    }
    ~call_scope() {
        if (!entered_) return;
        const std::lock_guard guard(lock_);
        if (--calls_ == 0) changed_.notify_all();
    }
    call_scope(const call_scope&) = delete;
    call_scope& operator=(const call_scope&) = delete;

    explicit operator bool() const { return entered_; }

private:
    std::mutex& lock_;
    std::condition_variable& changed_;
    unsigned& calls_;
    bool entered_ = false;
};

}  // namespace share_host
