// The flush of a caller and the cycle of the thread, step by step, and both at once under load.
#include <thread>

#include "tests/support/share_test.h"

using flush = started_share;

TEST_F(flush, returns_when_what_was_accepted_before_it_is_delivered) {
    host().sleeps.clear();
    EXPECT_EQ(share->flush(), 0);
    EXPECT_TRUE(host().collect.calls.empty());
    add("b");
    rotate();
    add("c");
    host().on_sleep = [&](unsigned long) { deliver(); };  // another flush ends while this one waits
    EXPECT_EQ(share->flush(), 0);
    EXPECT_EQ(host().sleeps, std::vector<unsigned long>{1000});
    EXPECT_EQ(host().collect.batches.size(), 2u);
    EXPECT_EQ(items(reach::cur_cache(*share)), "");

    host().on_sleep = nullptr;
    add("e");
    scripted::fail_call(1);
    EXPECT_EQ(share->flush(), scripted::refused_errno);
    break_delivery(1);
    EXPECT_EQ(share->flush(), 11);
    EXPECT_EQ(reach::last_flush_error(*share), 11u);
    cycle();
    EXPECT_EQ(reach::last_flush_error(*share), 0u);
}

TEST_F(flush, six_failures_then_refusal_until_time_brings_recovery) {
    arguments.flush_after_seconds = 5;
    start_over();
    cycle();  // takes up what the end of the thread has set
    add("a");
    break_delivery(7);
    const auto begin = host().now_ms;
    for (unsigned tries = 1; tries <= 6; ++tries) {
        reach::run_flush_cycle(*share);
        EXPECT_EQ(host().now_ms - begin, 5000u * tries) << "nobody but the clock woke it";
        EXPECT_EQ(share->get_flush_status_msg(), "failed " + std::to_string(tries) + " times");
        EXPECT_EQ(add("b"), 0);
    }
    cycle();
    EXPECT_EQ(add("c"), 5);
    EXPECT_EQ(share->rename_item(change_of("b"), "p0", "/d/b", false), 5);
    EXPECT_EQ(share->flush(), 5);
    reach::run_flush_cycle(*share);
    EXPECT_EQ(share->get_flush_status_msg() + counter("flush_fails") + counter("flush_successes"), "operational71");
    EXPECT_EQ(add("c"), 0);
    EXPECT_EQ(share->flush(), 0);
    EXPECT_EQ(std::ranges::count(host().collect.batches.back(), '\n'), 7);
}

TEST_F(flush, late_retry_without_a_batch_sends_an_empty_file_and_forgets_nothing) {
    cycle();
    EXPECT_TRUE(host().collect.calls.empty());
    reach::last_flush_error(*share) = 11;  // a flush on another thread has delivered in between
    host().collect.on_wait = [&] {
        add("a");
        EXPECT_EQ(rotate(), 0);  // and the next batch is already waiting when this one ends
    };
    cycle();
    host().collect.on_wait = nullptr;
    EXPECT_EQ(host().collect.batches, std::vector<std::string>{""});
    EXPECT_EQ(counter("flush_successes"), "1");
    EXPECT_EQ(items(reach::old_cache(*share)), "a:1:v1");
    EXPECT_TRUE(std::filesystem::exists(reach::old_journal_file(*share)));
}

TEST_F(flush, nothing_is_lost_or_sent_twice_under_load) {
    constexpr int writers = 4, changes = 150;
    arguments.flush_after_count = 40;
    make();
    ASSERT_EQ(share->init(), 0);
    std::atomic<bool> done{false};
    std::vector<std::jthread> threads;
    for (int writer = 0; writer < writers; ++writer) {
        threads.emplace_back([&, writer] {
            for (int i = 0; i < changes; ++i) {
                const std::string object = std::to_string(writer) + "-" + std::to_string(i);
                EXPECT_EQ(add(object), 0);
                EXPECT_EQ(update(object, "size=1"), 0);
                EXPECT_EQ(share->rename_item(change_of(object, "path=/e/" + object), "p0", "/d/" + object, false), 0);
                if (i % 50 == 0) {
                    EXPECT_EQ(share->flush(), 0);
                }
            }
        });
    }
    std::jthread reader([&] {
        while (!done) {
            cached("/d/0-1");
            found("/d/0-2");
            share->dump_caches();
            reach::find_child_in_cache_by_path(*share, "/d");
            share->get_flush_status_msg();
        }
    });
    threads.clear();
    done = true;
    reader.join();
    EXPECT_EQ(share->flush(), 0);
    std::map<std::string, int> adds;
    for (const std::string& batch : host().collect.batches) {
        for (std::size_t at = 0; (at = batch.find("<ADD>", at)) != std::string::npos; ++at) {
            const std::size_t object = batch.find("<BAP>", at) + 5;
            ++adds[batch.substr(object, batch.find('|', object) - object)];
        }
    }
    EXPECT_EQ(adds.size(), static_cast<std::size_t>(writers * changes));
    EXPECT_TRUE(std::ranges::all_of(adds, [](const auto& object) { return object.second == 1; }));
    add("last");
    share.reset();  // with a change that waits and a thread that may be at work
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root / "state/docs"), {}), 1);
}
