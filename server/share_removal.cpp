// The removal of withdrawn shares.
#include "server/share_removal.h"

#include <chrono>
#include <exception>

#include "hostkit/log.h"
#include "server/administration.h"

namespace index_server {

namespace {

constexpr std::chrono::seconds pause_after_failure{5};

}  // namespace

share_removal::~share_removal() {
    stop();
}

void share_removal::start() {
    thread_ = std::thread([this] { work(); });
}

void share_removal::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

void share_removal::wake() {
    const std::lock_guard lock(mutex_);
    pending_ = true;
    changed_.notify_all();
}

void share_removal::work() {
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return stopping_ || pending_; });
            if (stopping_) return;
            pending_ = false;
        }
        try {
            remove_all();
        } catch (const std::exception& failure) {
            HOSTKIT_LOG(-1, "index server: cannot remove the rows of a share, trying again: %s", failure.what());
            std::unique_lock lock(mutex_);
            changed_.wait_for(lock, pause_after_failure, [this] { return stopping_; });
            pending_ = true;
        }
    }
}

void share_removal::remove_all() {
    for (const std::int64_t subclient : storage_.admin().withdrawn_shares()) {
        do {
            if (is_stopping()) return;
        } while (storage_.admin().remove_rows(subclient));
        HOSTKIT_LOG(1, "index server: the rows of share [%lld] are removed", static_cast<long long>(subclient));
    }
}

bool share_removal::is_stopping() {
    const std::lock_guard lock(mutex_);
    return stopping_;
}

}  // namespace index_server
