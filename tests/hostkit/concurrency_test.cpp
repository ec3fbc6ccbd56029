// Lock and clock.
#include "host/concurrency.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "host/clock.h"

namespace {

TEST(lock, lets_a_writer_in_alone_between_endless_readers) {
    ZyComplexLock lock;
    std::atomic<bool> done{false}, torn{false};
    int one = 0, other = 0;
    std::vector<std::jthread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                lock.rdlock();
                if (one != other) torn = true;
                lock.unlock();
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        lock.rwlock();
        ++one;
        std::this_thread::yield();
        ++other;
        lock.unlock();
    }
    done = true;
    readers.clear();
    EXPECT_FALSE(torn);
}

TEST(time_stamp, counts_from_1601_and_is_clear_at_0) {
    const auto parts = [](std::timespec time) { return std::pair<long, long>(time.tv_sec, time.tv_nsec); };
    const std::uint64_t epoch = 116'444'736'000'000'000ULL;
    EXPECT_EQ(parts(CTimeStamp().AsTimeSpec()), std::pair(0L, 0L));
    EXPECT_EQ(parts(CTimeStamp(epoch + 15'000'001).AsTimeSpec()), std::pair(1L, 500'000'100L));
    EXPECT_EQ(parts(CTimeStamp(epoch - 1).AsTimeSpec()), std::pair(-1L, 999'999'900L));
}

}  // namespace
