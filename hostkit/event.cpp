// The event: one set is remembered until one wait takes it.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "host/concurrency.h"

struct ZyEventH::Impl {
    std::mutex lock;  // guards set
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

bool ZyEventH::Wait(unsigned long wait_ms) {
    // A century is as good as for ever, and keeps the deadline inside the clock's range.
    constexpr unsigned long longest_ms = 100UL * 365 * 24 * 3600 * 1000;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::min(wait_ms, longest_ms));
    std::unique_lock guard(impl_->lock);
    if (!impl_->changed.wait_until(guard, deadline, [this] { return impl_->set; })) return false;
    impl_->set = false;
    return true;
}

void ZyEventH::Set() {
    // Notified under the lock: whoever is woken may destroy the event at once.
    const std::lock_guard guard(impl_->lock);
    impl_->set = true;
    impl_->changed.notify_one();
}
