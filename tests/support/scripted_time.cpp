// Time that moves only when the library sleeps or lets a wait run out: the clock, the sleep and the event.
#include <condition_variable>
#include <thread>

#include "host/clock.h"
#include "host/concurrency.h"
#include "tests/support/scripted_host.h"

using scripted::host;

// The library polls with sleeps of a second and more; another thread gets its turn, and the clock moves on.
void XOSLEEP_InTeRnAl(unsigned long duration_ms, const char*, int) {
    const scripted::own_memory mine;
    std::function<void(unsigned long)> on_sleep;
    {
        const std::lock_guard guard(host().lock);
        host().sleeps.push_back(duration_ms);
        host().now_ms += duration_ms;
        on_sleep = host().on_sleep;
    }
    if (on_sleep) on_sleep(duration_ms);
    std::this_thread::yield();
}

CTimeStamp CTimeStamp::Now() noexcept {
    const std::lock_guard guard(host().lock);
    return CTimeStamp((host().now_ms + 11'644'473'600'000) * 10'000);
}

std::timespec CTimeStamp::AsTimeSpec() const noexcept {
    const std::uint64_t ms = ticks_ / 10'000 - 11'644'473'600'000;
    return {static_cast<std::time_t>(ms / 1000), static_cast<long>(ms % 1000 * 1'000'000)};
}

extern "C" std::time_t __wrap_time(std::time_t*) {  // NOLINT: the linker's name
    return CTimeStamp::Now().AsTimeSpec().tv_sec;
}

struct ZyEventH::Impl {
    std::mutex lock;
    std::condition_variable changed;
    bool set = false;
};

ZyEventH::ZyEventH(bool set) : impl_(std::make_unique<Impl>()) {
    impl_->set = set;
}
ZyEventH::~ZyEventH() = default;

void ZyEventH::Wait() {
    std::unique_lock guard(impl_->lock);
    impl_->changed.wait(guard, [this] { return impl_->set; });
    impl_->set = false;
}

// What is not set by now will not be set: the time runs out at once.
bool ZyEventH::Wait(unsigned long wait_ms) {
    const std::lock_guard guard(impl_->lock);
    if (!impl_->set) {
        const std::lock_guard host_guard(host().lock);
        host().now_ms += wait_ms;
    }
    return std::exchange(impl_->set, false);
}

void ZyEventH::Set() {
    const std::lock_guard guard(impl_->lock);
    impl_->set = true;
    impl_->changed.notify_one();
}
