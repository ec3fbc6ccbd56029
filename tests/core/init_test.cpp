// Start-up: steps that can fail, what they say, and that the object can be started again afterwards.
#include <functional>
#include <thread>

#include "hostkit/settings.h"
#include "tests/support/share_test.h"

using start = share_test;

TEST_F(start, failing_step_has_its_result_and_its_text) {
    struct row {
        std::function<void()> spoil;
        int ret;
        std::string message;
        bool for_good = false;
    };
    const std::string mgr = " Please check ApplicationMgr.log and AppMgrService.log on the HQ";
    const std::string docs = (root / "state/docs").string();
    const row rows[] = {
        {[&] { hostkit::process_settings().set("identity", "client_id.42", ""); }, 22,
         "could not get client from application_id. subclient_id [42]." + mgr},
        {[&] { host().management.answers[516377915].ret = 3; }, 22,
         "could not get cloudId of the index server. WebServerClientId [1042] WebServerHostName [web*host] "
         "WebServerURL [http://index.test/]." +
             mgr},
        {[&] { host().http.standing.text = search_answer({}); }, 2, "Failed to get sync folder."},
        {[&] { write_file(docs, ""); }, -1, "access [" + docs + "] failed with the error [Permission denied].", true},
        {[&] {
             write_file(docs + "/collect_file_0000000001", "*??|<DEL>|<VGID>v|<BAP>o|\n");
             break_delivery(1);
         },
         11, "WaitForTransaction returned a failure status [4].", true},
        {[&] { arguments.subclient_id = 0; }, 22, "subclient_id value [0] is invalid.", true},
    };
    for (const row& r : rows) {
        share.reset();
        std::filesystem::remove_all(root / "state");
        script_good_host();
        clear_log();
        r.spoil();
        EXPECT_EQ(init(), r.ret) << r.message;
        EXPECT_TRUE(logged(-1, "INDEX_IFACE: Error: " + r.message)) << r.message;
        EXPECT_FALSE(reach::is_inited(*share));
        EXPECT_FALSE(reach::thread_running(*share));
        if (r.for_good) continue;
        script_good_host();
        EXPECT_EQ(init(), 0) << r.message;
        EXPECT_EQ(add("o"), 0);
    }
}

TEST_F(start, names_and_settings_are_composed_once) {
    arguments.share_suffix = "a";
    arguments.flush_after_count = 0;
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(reach::collect_file(*share), (root / "state/docs-a/lumo_index_42_77_0.zyf").string());
    EXPECT_EQ(reach::cur_journal_file(*share), (root / "state/docs-a/collect_file_0000000001").string());
    EXPECT_EQ(host().collect.made_with, "0 42 web*host http://index.test/ '' 1 77 gateway /results level 2");
    const auto requests = host().http.requests.size();
    EXPECT_EQ(share->init(), 0);  // a second start does nothing
    EXPECT_EQ(host().http.requests.size(), requests);
    std::filesystem::remove_all(root / "state.bkp");
    hostkit::process_settings().set("Lumo", "nDisableJournalSave", "1");
    EXPECT_EQ(restart(), 0);
    EXPECT_FALSE(std::filesystem::exists(root / "state.bkp"));
}

TEST_F(start, cleanup_ends_the_thread_and_removes_the_directory) {
    make();
    ASSERT_EQ(share->init(), 0);
    add("o");
    while (!logged(6, "INDEX_IFACE: waiting for flush event, infinite wait"))
        std::this_thread::yield();
    share->cleanup();
    EXPECT_FALSE(reach::thread_running(*share));
    EXPECT_FALSE(std::filesystem::exists(dir()));
    EXPECT_EQ(host().collect.batches.size(), 1u);  // the last cycle does its work
    EXPECT_EQ(share->flush(), 4);
}
