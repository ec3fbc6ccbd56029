// Lock, event, thread and clock.
#include "host/concurrency.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "host/clock.h"

namespace {

TEST(lock, lets_writers_in_alone_between_endless_readers) {
    constexpr int writers = 2;
    constexpr int rounds = 200;
    ZyComplexLock lock;
    std::atomic<int> writing{writers};
    int one = 0;
    int other = 0;
    std::atomic<bool> torn{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (writing.load() > 0) {
                lock.rdlock();
                if (one != other) torn = true;
                lock.unlock();
            }
        });
    }
    for (int i = 0; i < writers; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                lock.rwlock();
                ++one;
                std::this_thread::yield();
                ++other;
                lock.unlock();
            }
            --writing;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(torn);
    EXPECT_EQ(one, writers * rounds);
}

TEST(lock, is_shared_by_readers) {
    ZyComplexLock lock;
    lock.rdlock();
    std::thread other([&] {
        lock.rdlock();
        lock.unlock();
    });
    other.join();
    EXPECT_EQ(lock.unlock(), 0);
}

TEST(event, remembers_one_set_until_a_wait_takes_it) {
    ZyEventH event(true);
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
    event.Set();
    event.Set();
    EXPECT_TRUE(event.Wait(~0UL));
    EXPECT_FALSE(event.Wait(0));
}

TEST(event, wakes_a_waiter_on_a_detached_thread) {
    struct pair {
        ZyEventH there{false};
        ZyEventH back{false};
    } events;
    ZYThread thread;
    ASSERT_TRUE(thread.createDetachedThread(
        [](void* argument) -> void* {
            auto* both = static_cast<pair*>(argument);
            both->there.Wait();
            both->back.Set();
            return nullptr;
        },
        &events));
    EXPECT_EQ(thread.getLastError(), "");
    events.there.Set();
    events.back.Wait();
}

TEST(time_stamp, counts_from_1601_and_is_clear_at_0) {
    const auto same = [](std::timespec a, long seconds, long nanoseconds) {
        return a.tv_sec == seconds && a.tv_nsec == nanoseconds;
    };
    EXPECT_TRUE(same(CTimeStamp().AsTimeSpec(), 0, 0));
    EXPECT_TRUE(same(CTimeStamp(116'444'736'000'000'000ULL).AsTimeSpec(), 0, 0));
    EXPECT_TRUE(same(CTimeStamp(116'444'736'000'000'000ULL + 15'000'001).AsTimeSpec(), 1, 500'000'100));
    EXPECT_TRUE(same(CTimeStamp(116'444'736'000'000'000ULL - 1).AsTimeSpec(), -1, 999'999'900));

    std::timespec before{};
    std::timespec after{};
    clock_gettime(CLOCK_REALTIME, &before);
    const std::timespec now = CTimeStamp::Now().AsTimeSpec();
    clock_gettime(CLOCK_REALTIME, &after);
    const auto ticks = [](const std::timespec& t) { return t.tv_sec * 10'000'000LL + t.tv_nsec / 100; };
    EXPECT_LE(ticks(before), ticks(now));
    EXPECT_LE(ticks(now), ticks(after));
}

}  // namespace
