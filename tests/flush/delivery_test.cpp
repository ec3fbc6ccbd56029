// The delivery of a batch: when it is forgotten, when it is kept, and what the host can see of it.
#include "hostkit/errors.h"
#include "tests/support/share_test.h"

using delivery = started_share;

TEST_F(delivery, batch_is_kept_until_the_service_has_completed_it) {
    struct row {
        scripted::collect_script::outcome submit, wait;
        int ret;
        std::vector<std::string> calls;
        const char* message;
    };
    const CXoError fine, broken = FXErrorUtil::ErrorErrNo(EPIPE),
                         open = hostkit::make_service_error(3021, EBUSY, "open");
    const auto queued = App::ProcessingStatus_QUEUED, done = App::ProcessingStatus_COMPLETED,
               failed = App::ProcessingStatus_FAILED;
    const std::string wait = "wait 1 500 28";
    const row rows[] = {
        {{broken, queued}, {}, EPIPE, {"submit 28"}, "Error: SubmitNewTransaction failed, status=[1], error="},
        {{open, queued}, {}, EBUSY, {"submit 28", "query last", "close T9"}, "Error: SubmitNewTransaction failed"},
        {{fine, queued},
         {broken, done},
         EPIPE,
         {"submit 28", wait},
         "Error: WaitForTransaction failed with the error ["},
        {{fine, queued}, {fine, failed}, EAGAIN, {"submit 28", wait}, "returned a failure status [4]."},
    };
    add("a");
    ASSERT_EQ(rotate(), 0);
    const std::string batch = reach::old_journal_file(*share);
    int tries = 0;
    for (const row& r : rows) {
        host().collect.calls.clear();
        host().collect.submits = {r.submit};
        host().collect.waits = {r.wait};
        EXPECT_EQ(deliver(), r.ret);
        EXPECT_EQ(host().collect.calls, r.calls);
        EXPECT_TRUE(logged(-1, r.message));
        EXPECT_EQ(share->get_flush_status_msg(), "failed " + std::to_string(++tries) + " times");
        EXPECT_EQ(items(reach::old_cache(*share)) + reach::old_journal_file(*share), "a:1:v1" + batch);
        EXPECT_TRUE(std::filesystem::exists(batch));
        EXPECT_FALSE(std::filesystem::exists(reach::collect_file(*share)));
        host().collect.waits.clear();
    }
    reach::reject_changes(*share) = true;
    host().collect.on_wait = [&] {  // the batch answers, and changes go on, until the clean-up
        EXPECT_NE(cached("/d/a"), "2");
        EXPECT_EQ(reach::flush_tries(*share), 4);
        reach::reject_changes(*share) = false;
        EXPECT_EQ(add("b"), 0);
        reach::reject_changes(*share) = true;
    };
    EXPECT_EQ(deliver(), 0);
    host().collect.on_wait = nullptr;
    EXPECT_EQ(cached("/d/a"), "2");
    EXPECT_EQ(items(reach::old_cache(*share)) + items(reach::old_par_cache(*share)) + reach::old_journal_file(*share),
              "");
    EXPECT_EQ(items(reach::cur_cache(*share)), "b:1:v1");
    EXPECT_FALSE(std::filesystem::exists(batch));
    EXPECT_FALSE(std::filesystem::exists(reach::collect_file(*share)));
    EXPECT_FALSE(reach::reject_changes(*share));
    EXPECT_EQ(reach::flush_tries(*share), 0);
    EXPECT_EQ(share->get_flush_status_msg() + counter("flush_successes"), "operational1");
}

TEST_F(delivery, copies_go_under_the_journals_name) {
    arguments.share_suffix = "x";
    start_over();
    add("a");
    const std::string line = journal();
    const std::string sent = collected();
    const std::filesystem::path base = root / "state.bkp/docs-x";
    EXPECT_EQ(read_file(base / "journal/collect_file_0000000001"), line);
    EXPECT_EQ(read_file(base / "sent_to_index/collect_file_0000000001"), sent);
}
