// The thread that reads shares and tokens again, and those who wait for it.
#include "server/record_watch.h"

#include <algorithm>
#include <exception>
#include <future>
#include <memory>
#include <utility>

#include "hostkit/log.h"
#include "server/storage_unavailable.h"

namespace index_server {

namespace {

constexpr std::chrono::milliseconds shortest_pause{100};
/// A pause lasts so many times as long as the reading before it.
constexpr int pause_share = 9;

}  // namespace

record_watch::~record_watch() {
    stop();
}

void record_watch::start() {
    if (!is_needed()) return;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = false;
    }
    thread_ = std::thread([this] { work(); });
}

void record_watch::stop() {
    std::vector<waiter> left;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        left.swap(waiters_);
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
    for (const waiter& done : left)
        done(false);
}

void record_watch::after_next_reading(waiter done) {
    {
        const std::lock_guard lock(mutex_);
        if (!stopping_) {
            waiters_.push_back(std::move(done));
            changed_.notify_all();
            return;
        }
    }
    done(false);
}

void record_watch::work() {
    clock::time_point next = clock::now() + period, earliest = clock::now();
    for (;;) {
        std::vector<waiter> answered;
        {
            std::unique_lock lock(mutex_);
            changed_.wait_until(lock, next, [this] { return stopping_ || !waiters_.empty(); });
            changed_.wait_until(lock, earliest, [this] { return stopping_; });
            if (stopping_) return;
            answered.swap(waiters_);
        }
        const clock::time_point began = clock::now();
        const bool is_current = read();
        const clock::time_point ended = clock::now();
        for (const waiter& done : answered)
            done(is_current);
        earliest = ended + std::max<clock::duration>(shortest_pause, pause_share * (ended - began));
        next = std::max(ended + period, earliest);
    }
}

/// Tokens first: each is stored after the share that it names, so that one is among the shares that are read then.
bool record_watch::read() {
    try {
        tokens_.reload();
        shares_.reload();
        if (is_failing_) HOSTKIT_LOG(1, "index server: shares and tokens are read again");
        is_failing_ = false;
    } catch (const std::exception& failure) {
        if (!is_failing_)
            HOSTKIT_LOG(-1, "index server: cannot read shares and tokens again, what is known counts: %s",
                        failure.what());
        is_failing_ = true;
    }
    return !is_failing_;
}

void record_watch::catch_up() {
    if (!is_needed()) return;
    const auto told = std::make_shared<std::promise<bool>>();
    after_next_reading([told](bool is_current) { told->set_value(is_current); });
    if (!told->get_future().get()) throw storage_unavailable("shares and tokens cannot be read");
}

std::optional<share> record_watch::share_of(std::int64_t subclient_id) {
    std::optional<share> found = shares_.by_subclient(subclient_id);
    if (found || !is_needed()) return found;
    catch_up();
    return shares_.by_subclient(subclient_id);
}

bool record_watch::grants(const std::string& token, const grant& known, std::int64_t subclient_id) {
    if (known.covers(subclient_id) || !is_needed()) return known.covers(subclient_id);
    catch_up();
    const std::optional<grant> now = tokens_.check(token);
    return now && now->covers(subclient_id);
}

}  // namespace index_server
