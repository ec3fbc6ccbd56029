// The change operations: what is refused and in which order, what reaches cache and journal, what a backlog costs.
#include <array>
#include <functional>

#include "tests/support/share_test.h"

using change = started_share;

TEST_F(change, arguments_are_refused_in_order_and_only_accepted_changes_are_kept) {
    struct row {
        std::function<int(const index_iface_props&)> operation;
        const char* fields;
        int ret;
        long vtime_sec;
        const char* message;
    };
    const auto add = [&](const auto& props) { return share->add_item(props); };
    const auto update = [&](const auto& props) { return share->update_item(props); };
    const auto remove = [&](const auto& props) { return share->delete_item(props); };
    const auto rename = [&](const auto& props) { return share->rename_item(props, "p0", "/a", true); };
    const row rows[] = {
        {add, "object= vtime=-1", 22, -1, "Error: either object_guid [] or parent_guid [p1] is an empty string."},
        {add, "parent=", 22, -1, "Error: either object_guid [o] or parent_guid [] is an empty string."},
        {add, "vtime=-1 dtime=0", 22, -1, "Error: vtime [-1] is not set."},
        {add, "dtime=0", 22, 5, "Error: dtime [0] cannot be specified except when deleting."},
        {add, "object=a vtime=0 version=", 0, 0, ""},
        {add, "object=b vtime=-1999999999 sec=3", 0, 3, ""},
        {update, "object=", 22, -1, "Error: either object_guid [] or version_guid [v1] is an empty string."},
        {update, "object=c parent= dtime=3 vtime=-1999999999", 0, -1, ""},
        {remove, "parent=", 22, -1, "Error: either object_guid [o] or parent_guid [] is an empty string."},
        {remove, "", 22, 5, "Error: dtime [-1] is not set."},
        {remove, "object=d version= dtime=0", 0, 5, ""},
        {rename, "object=", 22, -1, "Error: either object_guid [] or parent_guid [p1] is an empty string."},
        {rename, "dtime=0", 22, 5, "Error: dtime [0] cannot be specified except when deleting."},
    };
    for (const row& r : rows) {
        clear_log();
        const index_iface_props props = change_of("o", r.fields);
        EXPECT_EQ(r.operation(props), r.ret) << r.fields;
        EXPECT_EQ(props.vtime_sec, r.vtime_sec) << r.fields;
        EXPECT_EQ(logged(-1, r.message), r.ret != 0) << r.fields;
    }
    EXPECT_EQ(items(reach::cur_cache(*share)), "a:1: b:1:v1 c:2:v1 d:3:");
    EXPECT_EQ(items(reach::cur_par_cache(*share)), "p1:- p1:- p1:-");
    const std::string lines = journal();
    EXPECT_EQ(counter("adds") + counter("updates") + counter("deletes") + counter("renames"), "2110");

    reach::reject_changes(*share) = true;
    for (const row& r : rows)
        EXPECT_EQ(r.operation(change_of("o", r.fields)), 5);
    EXPECT_TRUE(logged(-1, "not able to flush previous collect files even after [0] tries. Therefore, rejecting new"));
    EXPECT_EQ(journal(), lines);
}

TEST_F(change, update_merges_into_the_same_version_of_the_current_cache_only) {
    add("o", "size=1 mode=33188");
    update("o", "vtime=9000000000 size=2 parent= path=");
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:1:v1");
    EXPECT_TRUE(journal().ends_with(
        "\n*??|<UPD>|<ADDV>1|<VGID>v1|<BAP>o|<EPG>p1|<OTYP>1|<FS>2|<MODE>33188|<IEXT>0|<ERP>/5/d/o|\n"));
    EXPECT_EQ(cached("/d/o"),
              "op=ADD path=/d/o version=v1 object=o parent=p1 mode=33188 size=2 vtime=5000000000 sec=5 extent=0");
    update("o", "version=v2 vtime=6000000000");
    remove("o");
    add("o");
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:1:v1 o:2:v2 o:3:v1 o:1:v1");
    EXPECT_EQ(rotate(), 0);
    update("o");
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:2:v1");
    EXPECT_EQ(items(reach::old_cache(*share)), "o:1:v1 o:2:v2 o:3:v1 o:1:v1");
}

TEST_F(change, backlog_wakes_the_thread_and_slows_its_producers_down) {
    using row = std::array<std::uint32_t, 3>;
    const row rows[] = {{1000, 1000, 0}, {1000, 1001, 1}, {1000, 4200, 13439}, {100, 470, 1738}, {0, 12, 12}};
    for (const auto& [limit, count, delay] : rows) {
        reach::flush_after_count(*share) = limit;
        reach::cur_cache(*share)->num_items = static_cast<int>(count);
        EXPECT_EQ(reach::calc_throttle_delay(*share), delay) << count;
    }
    reach::flush_after_count(*share) = 3;
    reach::cur_cache(*share)->num_items = 0;
    scripted::host().sleeps.clear();
    clear_log();
    add("a"), add("b");
    add("c");
    EXPECT_TRUE(logged(6, "INDEX_IFACE: notifying flush thread, num_items [3], flush_after_count [3]."));
    EXPECT_TRUE(host().sleeps.empty());
    update("d");
    remove("e");
    EXPECT_EQ(host().sleeps, (std::vector<unsigned long>{1, 3}));
    EXPECT_EQ(counter("delay_ms"), "4");
}
