// The totals, as a host reads and clears them.
#include "tests/support/share_test.h"

using status = share_test;

TEST_F(status, counters_are_entered_beside_the_hosts_own_and_cleared_alone) {
    ASSERT_EQ(init(), 0);
    add("a"), add("a"), update("b"), remove("c"), found("/x");
    EXPECT_EQ(share->flush(), 0);
    std::map<std::string, std::string> counters{{"index.adds", "old"}, {"mine", "kept"}};
    share->get_counters(counters);
    std::string text;
    for (const auto& [key, value] : counters)
        text += key + "=" + value + " ";
    EXPECT_EQ(
        text,
        "index.adds=2 index.browse_children=0 index.browse_extents=0 index.delay_ms=0 index.deletes=1 index.finds=1 "
        "index.flush_fails=0 index.flush_successes=1 index.renames=0 index.updates=1 mine=kept ");
    share->clear_counters();
    share->get_counters(counters);
    EXPECT_EQ(std::ranges::count(counters, "0", &std::pair<const std::string, std::string>::second), 10);
}
