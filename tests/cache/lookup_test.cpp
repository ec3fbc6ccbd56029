// What the caches answer: the two caches laid over each other, bounds in time, versions, case, children.
#include "tests/support/share_test.h"

using lookup = started_share;

TEST_F(lookup, current_and_waiting_records_combine) {
    struct row {
        const char *old_op, *cur_op, *answer;
    };
    const row rows[] = {
        {"", "ADD", "op=ADD @ size=2"},
        {"ADD", "DEL", "op=DEL @ size=2"},
        {"ADD", "UPD", "op=ADD @ size=2 uid=7"},
        {"DEL", "UPD", "op=DEL @ size=2 uid=7"},
        {"", "UPD", "op=UPD @ size=2"},
        {"REN", "REN", "op=REN @ size=2 uid=7"},
        {"", "REN", "op=UPD @ size=2"},
        {"ADD", "", "op=ADD @ size=1 uid=7"},
        {"", "", "2"},
        {"ADD", "NONE", "1"},
        {"NONE", "", "@ size=1 uid=7"},
    };
    for (const row& r : rows) {
        for (auto* cache : {reach::old_cache(*share), reach::cur_cache(*share)}) {
            reach::delete_cached_items(*share, cache);
            const bool old = cache == reach::old_cache(*share);
            const std::string op = old ? r.old_op : r.cur_op;
            if (op.empty()) continue;
            auto* props = new index_iface_props(
                record_of("op=" + op + " path=/a version=v1 object=o vtime=5 size=" + (old ? "1 uid=7" : "2")));
            ASSERT_EQ(reach::insert_to_cache(*share, cache, props->object_guid.c_str(), props), 0);
        }
        std::string expected = r.answer;
        if (const auto place = expected.find('@'); place != std::string::npos) {
            expected.replace(place, 1, "path=/a version=v1 object=o");
            expected += " vtime=5";
        }
        EXPECT_EQ(cached("/a", "v1"), expected) << r.old_op << "/" << r.cur_op;
        EXPECT_EQ(cached_guid("o"), expected);
    }
}

TEST_F(lookup, newest_insertion_inside_both_bounds_answers) {
    add("o", "version=v1 vtime=1000000000");
    add("o", "version=v3 vtime=3000000000");
    add("o", "version=v2 vtime=2000000000");
    const auto version = [&](const std::string& asked, long before, long after) {
        const index_iface_props props = record_of(cached("/d/o", asked, before, after));
        return props.version_guid;
    };
    EXPECT_EQ(version("", 0, 0), "v2");
    EXPECT_EQ(version("", 9, 3), "v3");
    EXPECT_EQ(version("", 9, 4), "");
    EXPECT_EQ(version("v3", 1, 1), "v3");  // a version is found whenever it was
    EXPECT_EQ(record_of(cached_guid("o", 1000000000)).version_guid, "v1");
    EXPECT_EQ(cached_guid("o", 999999999), "2");
}

TEST_F(lookup, paths_follow_the_case_setting_ties_the_buckets_and_children_neither) {
    for (const bool sensitive : {true, false}) {
        arguments.caseSensitiveSearch = sensitive;
        start_over();
        add("k", "path=/Dir/File version=V");
        EXPECT_EQ(cached("/dir/FILE") == "2", sensitive);
        EXPECT_EQ(cached("/Dir/File", "v") == "2", sensitive);
        add("b", "path=/tie"), add("a", "path=/tie"), add("a", "path=/tie version=v2"), add("c", "path=/tie");
        EXPECT_EQ(record_of(cached("/tie")).object_guid + record_of(cached("/tie")).version_guid, "av2");

        const auto has_child = [&](const char* parent) {
            return reach::find_child_in_cache_by_path(*share, parent) == 0;
        };
        EXPECT_TRUE(has_child("/Dir"));
        for (const char* parent : {"/dir", "/", "/Dir/", "/Di", "/Dir/File", "/D"})
            EXPECT_FALSE(has_child(parent)) << parent;
        EXPECT_EQ(rotate(), 0);
        EXPECT_TRUE(has_child("/Dir"));
    }
}
