// Who waits for which flush. The flush is driven by the test, one step at a time.
#include "share/delivery_worker.h"

#include <gtest/gtest.h>

#include <future>
#include <semaphore>

namespace share_host {
namespace {

using namespace std::chrono_literals;

/// A flush that says when it has begun and ends well when it is told to.
class stepped_flush {
public:
    int operator()() {
        begun.release();
        may_end.acquire();
        return 0;
    }
    void end() { may_end.release(); }

    std::counting_semaphore<> begun{0};

private:
    std::counting_semaphore<> may_end{0};
};

class delivery_worker_test : public testing::Test {
protected:
    std::future<freshness> request(std::chrono::milliseconds timeout = 1h) {
        return std::async(std::launch::async, [this, timeout] { return worker.deliver(timeout, stop.get_token()); });
    }

    stepped_flush flush;
    std::stop_source stop;
    delivery_worker worker{[this] { return flush(); }};
};

TEST_F(delivery_worker_test, a_request_during_a_flush_gets_the_next_one) {
    auto first = request();
    flush.begun.acquire();
    EXPECT_FALSE(worker.deliver(0ms, stop.get_token()).fresh) << "the running flush may have begun too early for it";
    flush.end();
    EXPECT_TRUE(first.get().fresh);
    flush.begun.acquire();
    EXPECT_FALSE(worker.end(std::chrono::steady_clock::now())) << "the second flush runs";
    flush.end();
    EXPECT_TRUE(worker.end(std::chrono::steady_clock::now() + 1h));
}

TEST_F(delivery_worker_test, ending_wakes_the_waiting_and_tells_whether_the_flush_is_over) {
    auto waiting = request();
    flush.begun.acquire();
    EXPECT_FALSE(worker.end(std::chrono::steady_clock::now()));
    EXPECT_FALSE(waiting.get().fresh);
    flush.end();
    EXPECT_TRUE(worker.end(std::chrono::steady_clock::now() + 1h));
    EXPECT_FALSE(worker.deliver(1h, stop.get_token()).fresh) << "no further flush begins";
}

}  // namespace
}  // namespace share_host
