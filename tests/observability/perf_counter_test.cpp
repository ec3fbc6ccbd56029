// The timing counters: what is timed, and what a setting switches off.
#include "hostkit/settings.h"
#include "observability/index_iface_perf.h"
#include "tests/support/share_test.h"

namespace {

class perf_counter : public share_test {
protected:
    /// Counters are off, as in a process whose first object is still to come.
    perf_counter() { switch_off("0"); }
    ~perf_counter() override {
        share.reset();
        switch_off("0");
    }
    static void switch_off(const char* for_good) {
        hostkit::process_settings().set("Lumo", "nlumoDisablePerfCounters", for_good);
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
};

}  // namespace

TEST_F(perf_counter, only_the_exchanges_and_deliveries_are_timed) {
    ASSERT_EQ(init(), 0);
    add("o");
    share->rename_item(change_of("r", "path=/b"), "p1", "/a", false);
    found_guid("o"), found("/d/o"), found("/a"), found_guid("");
    EXPECT_EQ(counts(), "1 0 0 0 0 0 0 0 0 ") << "answers of the caches, and a path renamed away";
    found_guid("x"), found("/x");
    browse(by_guid, "p1"), browse(by_path, "/d"), browse(extents, "p1"), browse_not_backedup();
    EXPECT_EQ(counts(), "1 1 1 1 1 1 1 1 0 ") << "one delivery, under its own id";
    share->clear_counters();
    EXPECT_EQ(counts(), "0 0 0 0 0 0 0 0 0 ");
    switch_off("1");
    ASSERT_EQ(restart(), 0);
    EXPECT_TRUE(logged(1, "INDEX_IFACE: Info: performance counters are disabled."));
    EXPECT_EQ(g_idx_iface_perf_counter, nullptr);
    EXPECT_EQ(browse(by_path, "/d"), 1);
}
