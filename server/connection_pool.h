// A bounded pool of connections to the storage, each with what is prepared on it.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "server/sql.h"

namespace index_server {

/// Any thread. Makes items when none is idle, up to a bound; beyond it takers wait their turn. While the storage cannot
/// be reached it is tried at growing distances, and takers in between are told so at once.
template <class Item>
class connection_pool {
public:
    using maker = std::function<std::unique_ptr<Item>()>;

    connection_pool(std::size_t most, maker make) : most_(most), make_(std::move(make)) {}

    /// An item that no other thread uses meanwhile. It is thrown away unless it was given back, since after a failure
    /// nobody knows its state.
    class lease {
    public:
        lease(connection_pool& pool, std::unique_ptr<Item> item) : pool_(pool), item_(std::move(item)) {}
        ~lease() { pool_.take_back(std::move(item_), given_back_); }
        lease(const lease&) = delete;
        lease& operator=(const lease&) = delete;

        Item& operator*() const { return *item_; }
        void give_back() { given_back_ = true; }

    private:
        connection_pool& pool_;
        std::unique_ptr<Item> item_;
        bool given_back_ = false;
    };

    /// Throws storage_unavailable and what the making of an item throws.
    lease take() { return lease(*this, take_item()); }

    /// Throws the idle items away: they are likely to be as dead as the one that failed.
    void drop_idle() {
        std::vector<std::unique_ptr<Item>> dropped;
        const std::lock_guard lock(mutex_);
        dropped.swap(idle_);
    }

private:
    using clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds first_pause{100};
    static constexpr std::chrono::milliseconds longest_pause{5000};

    std::unique_ptr<Item> take_item() {
        std::unique_lock lock(mutex_);
        freed_.wait(lock, [this] { return in_use_ < most_; });
        if (!idle_.empty()) {
            ++in_use_;
            std::unique_ptr<Item> taken = std::move(idle_.back());
            idle_.pop_back();
            return taken;
        }
        if (clock::now() < next_try_) throw storage_unavailable(reason_);
        ++in_use_;
        lock.unlock();
        return make_item();
    }

    std::unique_ptr<Item> make_item() {
        try {
            std::unique_ptr<Item> made = make_();
            const std::lock_guard lock(mutex_);
            pause_ = first_pause;
            return made;
        } catch (const storage_unavailable& away) {
            const std::lock_guard lock(mutex_);
            reason_ = away.what();
            next_try_ = clock::now() + pause_;
            pause_ = std::min(2 * pause_, longest_pause);
            leave();
            throw;
        } catch (...) {
            const std::lock_guard lock(mutex_);
            leave();
            throw;
        }
    }

    void take_back(std::unique_ptr<Item> item, bool keep) {
        if (!keep) item.reset();
        const std::lock_guard lock(mutex_);
        if (keep) idle_.push_back(std::move(item));
        leave();
    }

    /// locks: mutex_ held.
    void leave() {
        --in_use_;
        freed_.notify_one();
    }

    const std::size_t most_;
    const maker make_;

    // mutex_ guards all below. Never held while an item is made or used.
    std::mutex mutex_;
    std::condition_variable freed_;
    std::vector<std::unique_ptr<Item>> idle_;
    std::size_t in_use_ = 0;
    clock::time_point next_try_{};
    std::string reason_;  ///< why the latest try failed
    std::chrono::milliseconds pause_ = first_pause;
};

}  // namespace index_server
