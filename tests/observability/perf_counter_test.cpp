// The timing counters: who switches them on, and what is timed.
#include "hostkit/settings.h"
#include "observability/index_iface_perf.h"
#include "tests/support/share_test.h"

namespace {

class perf_counter : public share_test {
protected:
    /// Counters are off, as in a process whose first object is still to come.
    perf_counter() { switch_off(); }
    ~perf_counter() override {
        share.reset();
        switch_off();
    }
    static void switch_off() {
        hostkit::process_settings().set("Lumo", "nlumoDisablePerfCounters", "0");
        g_enable_perf = false;
        delete std::exchange(g_idx_iface_perf_counter, nullptr);
    }
    /// Spans by id, 0 to 8, with a blank between.
    std::string counts() {
        const auto begin = std::filesystem::file_size(root / "log");
        index_iface_log_perf_counters("now");
        const std::string lines = read_file(root / "log").substr(begin);
        std::string text;
        for (std::size_t at = 0; (at = lines.find("count ", at)) != std::string::npos; ++at)
            text += std::to_string(std::stoi(lines.substr(at + 6))) + " ";
        return text;
    }
    void browse_all() {
        browse(by_guid, "p1");
        browse(by_path, "/d");
        browse(extents, "p1");
        browse_not_backedup();
    }
};

}  // namespace

TEST_F(perf_counter, only_the_exchanges_and_deliveries_are_timed) {
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(counts(), "1 0 0 0 0 0 0 0 0 ");
    index_iface_log_perf_counters("by hand");
    EXPECT_TRUE(logged(1, "by hand")) << "under the host's text";
    const char* hook = "/tmp/INDEX_IFACE_NO_FLUSH_HOOK";
    host().files.access_answers[hook] = 0;  // stops deliveries, and is not timed
    EXPECT_EQ(deliver(), 0);
    host().files.access_answers.erase(hook);
    found_guid("o"), found("/x"), found_guid("");
    browse_all();
    EXPECT_EQ(counts(), "1 0 1 1 1 1 1 1 0 ");
    // Answers of the caches, a path renamed away, and a flush ahead of a browse.
    add("o");
    share->rename_item(change_of("r", "path=/b"), "p1", "/a", false);
    found_guid("o"), found("/d/o"), found("/a");
    EXPECT_EQ(counts(), "1 0 1 1 1 1 1 1 0 ");
    browse_all();
    EXPECT_EQ(counts(), "1 1 1 1 2 2 2 2 0 ") << "one delivery, under its own id";
    share->clear_counters();
    EXPECT_EQ(counts(), "0 0 0 0 0 0 0 0 0 ");
    EXPECT_EQ(share->init(), 0);  // already started: a stop without its start
    EXPECT_EQ(counts(), "0 0 0 0 0 0 0 0 0 ");
    clear_log();
    share.reset();
    EXPECT_TRUE(logged(1, "index_iface::~index_iface()"));
    ASSERT_EQ(restart(), 0);
    scripted::fail_memory(1, true);
    share.reset();  // goes without the figures when there is no memory to say them
    scripted::fail_memory(0, false);
}

TEST_F(perf_counter, first_object_that_does_not_disable_them_decides_for_the_process) {
    const auto disable = [](const char* value) {
        hostkit::process_settings().set("Lumo", "nlumoDisablePerfCounters", value);
    };
    const std::string off = "INDEX_IFACE: Info: performance counters are disabled.";
    disable("1");
    ASSERT_EQ(init(), 0);
    EXPECT_TRUE(logged(1, off));
    EXPECT_EQ(g_idx_iface_perf_counter, nullptr);
    browse_all();
    share->clear_counters();
    EXPECT_EQ(counts(), "");
    disable("0");
    ASSERT_EQ(restart(), 0);
    const auto* made = g_idx_iface_perf_counter;
    EXPECT_TRUE(g_enable_perf);
    disable("1");
    clear_log();
    ASSERT_EQ(restart(), 0);
    EXPECT_EQ(times_logged(off), 0);
    EXPECT_EQ(g_idx_iface_perf_counter, made);
    arguments.subclient_id = 0;
    make();
    EXPECT_EQ(init(), 22);
    EXPECT_EQ(counts().substr(0, 4), "2 0 ") << "a start that is refused before its span began is not counted";
}
