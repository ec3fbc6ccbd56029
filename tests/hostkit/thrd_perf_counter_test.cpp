// The timing counters: which spans count, thread by thread, and what the log says of them.
#include <gtest/gtest.h>

#include <barrier>
#include <regex>
#include <thread>

#include "host/perf_counter.h"
#include "hostkit/log.h"
#include "tests/support/scratch_directory.h"

namespace {

class perf : public testing::Test {
protected:
    perf() {
        hostkit::open_log({.level = 1, .file = scratch / "log"});
        counters.SetInterval(300);
        counters.AddPerfCounter(1, "one", CTRBASETYPE_DEFAULT, false);
        counters.AddPerfCounter(2, "two", CTRBASETYPE_DEFAULT, false);
    }
    ~perf() override { g_ptrLogWriter.reset(); }

    void start(int id) { counters.StartPerfCounter("here", id); }
    void stop(int id) { counters.StopPerfCounter("here", id, 0); }
    /// The log's last word on the counter.
    std::smatch row(int id, const std::string& name) {
        counters.LogPerfCounters("a test", nullptr, -1);
        text = scratch.text_of("log");
        text.erase(0, text.rfind("a test"));
        std::smatch found;
        const std::regex form(std::to_string(id) + " " + name +
                              ": count ([0-9]+), total ([0-9]+) us, longest ([0-9]+) us, "
                              "half within ([0-9]+) us, 99 of 100 within ([0-9]+) us");
        EXPECT_TRUE(std::regex_search(text, found, form)) << text;
        return found;
    }
    std::string count(int id, const std::string& name) { return row(id, name)[1]; }

    scratch_directory scratch;
    ThrdPerfCounter counters{nullptr};
    std::string text;
};

TEST_F(perf, counts_whole_spans_of_known_ids) {
    stop(1);  // nothing was started
    start(1), stop(1), stop(1);
    start(2), start(2), start(1), stop(2);  // begun again, and left open
    start(9), stop(9);
    EXPECT_EQ(count(1, "one") + count(2, "two"), "11");
    EXPECT_EQ(text.find(" 9 "), std::string::npos);
    EXPECT_NE(text.find("For All The Files"), std::string::npos);
    counters.LogPerfCounters("a test", "my label", 0);
    EXPECT_NE(scratch.text_of("log").find("a test, my label"), std::string::npos);
    counters.ResetPerfCounters("here", nullptr, -1);
    EXPECT_EQ(count(1, "one") + count(2, "two"), "00");
    stop(1);  // the span that was left open
    EXPECT_EQ(count(1, "one"), "1");
}

TEST_F(perf, spans_of_one_id_overlap_between_threads_without_mixing) {
    constexpr int threads = 4, rounds = 500;
    std::barrier together(threads);
    {
        std::vector<std::jthread> workers;
        for (int i = 0; i < threads; ++i) {
            workers.emplace_back([&, i] {
                stop(1);
                for (int round = 0; round < rounds; ++round) {
                    start(1);
                    if (round % 100 == 0) together.arrive_and_wait();
                    if (i == 0 && round % 100 == 50) counters.LogPerfCounters("beside", nullptr, -1);
                    stop(1);
                }
            });
        }
    }
    const std::smatch found = row(1, "one");
    EXPECT_EQ(found[1], std::to_string(threads * rounds));
    const auto number = [&](std::size_t part) { return std::stoull(found[part]); };
    EXPECT_GE(number(2), number(3));
    EXPECT_LE(number(2), number(3) * threads * rounds);
    EXPECT_LE(number(4), number(5));
}

}  // namespace
