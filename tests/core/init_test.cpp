// Start-up: each step that can fail, what it says, and that the object can be started again afterwards.
#include <functional>
#include <thread>

#include "hostkit/settings.h"
#include "tests/support/share_test.h"

using start = share_test;
using scripted::file_op;

TEST_F(start, every_failing_step_has_its_result_and_its_text) {
    struct row {
        std::function<void()> spoil;
        int ret;
        std::string message;
    };
    const auto without = [](const char* key, const char* section = "identity") {
        return [=] { hostkit::process_settings().set(section, key, ""); };
    };
    const std::string mgr = " Please check ApplicationMgr.log and AppMgrService.log on the HQ";
    const std::string journal_1 = (root / "state/docs/collect_file_0000000001").string();
    const std::string line = "*??|<DEL>|<VGID>v|<BAP>o|\n";
    const row rows[] = {
        {[&] { arguments.subclient_id = 0; }, 22, "subclient_id value [0] is invalid."},
        {[&] { arguments.share_name = ""; }, 22, "share_name cannot be an empty string."},
        {without("client_id.42"), 22, "could not get client from application_id. subclient_id [42]." + mgr},
        {without("machine"), 22, "could not get the focus client name." + mgr},
        {without("web_client_id"), 2, "could not get the index server address." + mgr},
        {without("url", "server"), 22, "could not get the index server address."},
        {[&] { host().management.answers[516377915].ret = 3; }, 22,
         "could not get cloudId of the index server. WebServerClientId [1042] WebServerHostName [web*host] "
         "WebServerURL "
         "[http://index.test/]." +
             mgr},
        {without("job_results"), 2, "could not jobresults directory for the web server client." + mgr},
        {[&] { host().http.standing.text = search_answer({}); }, 2, "Failed to get sync folder."},
        {[&] { host().files.access_answers[(root / "state/docs").string()] = EACCES; }, -1,
         "access [" + (root / "state/docs").string() + "] failed with the error [Permission denied]."},
        {[&] { host().refuse_threads = true; }, 1, "creation of flush thread failed. [no threads today]"},
        {[&] {
             host().files.faults = {{file_op::open, journal_1, EACCES}};
         },
         EACCES, "Failed to create next journal file."},
        {[&] {
             write_file(journal_1, line);
             host().files.faults = {{file_op::open, journal_1, EACCES, 1}};
         },
         EACCES, "Failed to open existing journal file."},
        {[&] {
             write_file(journal_1, line);
             host().collect.waits.push_back({FXErrorUtil::ErrorErrNo(EPIPE), App::ProcessingStatus_UNKNOWN});
         },
         EPIPE, "WaitForTransaction failed with the error ["},
    };
    const auto good = arguments;
    for (const row& r : rows) {
        share.reset();
        std::filesystem::remove_all(root / "state");
        script_good_host();
        clear_log();
        arguments = good;
        r.spoil();
        EXPECT_EQ(init(), r.ret) << r.message;
        EXPECT_TRUE(logged(-1, "INDEX_IFACE: Error: " + r.message)) << r.message;
        EXPECT_FALSE(reach::is_inited(*share));
        EXPECT_FALSE(reach::thread_running(*share));
        EXPECT_EQ(share->get_flush_status_msg(), r.ret == EPIPE ? "failed 1 times" : "waiting");
        const bool for_good = arguments.subclient_id == 0 || *arguments.share_name == 0 || r.ret == EPIPE ||
                              r.message.starts_with("Failed to create");  // the journal's name stays behind
        if (for_good) continue;
        script_good_host();
        EXPECT_EQ(init(), 0) << r.message;
        EXPECT_EQ(add("o"), 0);
    }
}

TEST_F(start, missing_memory_is_reported_at_every_step_and_leaves_nothing_behind) {
    // A start does without timing counters when there is no memory for them, so it must not ask for any here.
    hostkit::process_settings().set("Lumo", "nlumoDisablePerfCounters", "1");
    make();
    int steps = 0;
    for (scripted::fail_allocation(1); share->init() != 0; scripted::fail_allocation(++steps + 1)) {
        ASSERT_TRUE(scripted::allocation_failed());
        EXPECT_FALSE(reach::is_inited(*share));
        EXPECT_TRUE(logged(-1, "INDEX_IFACE: ")) << "allocation " << steps + 1;
        clear_log();
    }
    scripted::fail_allocation(0);
    EXPECT_GE(steps, 9);
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

    share.reset();
    std::filesystem::remove_all(root / "state.bkp");
    hostkit::process_settings().set("Lumo", "nDisableJournalSave", "1");
    EXPECT_EQ(init(), 0);
    EXPECT_FALSE(std::filesystem::exists(root / "state.bkp"));
    hostkit::process_settings().set("Lumo", "nDisableJournalSave", "0");
    write_file(root / "state.bkp", "in the way");
    EXPECT_EQ(restart(), 0);
    EXPECT_TRUE(logged(1, "INDEX_IFACE: INFO: Cannot create collect file save directory ["));
    EXPECT_EQ(reach::collect_save_dir(*share), "");
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
