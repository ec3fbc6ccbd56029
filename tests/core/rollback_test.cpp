// Changes that fail half-way: what the caller hears, what stays behind, and that nothing of it is read again.
#include "tests/support/share_test.h"

using rollback = share_test;
using scripted::file_op;

TEST_F(rollback, failed_journal_write_leaves_an_item_that_no_reader_meets) {
    for (const unsigned short_by : {0u, 7u}) {
        for (const char* operation : {"add", "update", "remove"}) {
            start_over();
            add("kept", "parent=p0 path=/d");
            host().files.faults = {{file_op::write, "collect_file_", short_by == 0 ? ENOSPC : 0, 0, 1, short_by}};
            const int ret = operation[0] == 'a' ? add("lost") : operation[0] == 'u' ? update("lost") : remove("lost");
            EXPECT_EQ(ret, short_by == 0 ? ENOSPC : EIO) << operation;
            EXPECT_EQ(add("next"), 5);

            EXPECT_EQ(items(reach::cur_cache(*share)), "kept:1:v1 lost:-");
            EXPECT_EQ(cached("/d/lost"), "2");
            index_iface_browse_fields fields;
            index_iface_props props;
            fields.object_guid = "lost";
            EXPECT_EQ(reach::find_props_in_cache_by_guid(*share, fields, props), 2);
            EXPECT_EQ(reach::find_child_in_cache_by_path(*share, "/d"), 1);
            fields.object_guid = "p1";
            EXPECT_EQ(reach::find_in_par_cache_by_guid(*share, fields), 0);  // the parent was touched all the same
            if (operation[0] != 'u') {
                EXPECT_EQ(
                    collected(),
                    "*??|<ADD>|<SHOW>|<VTIM>5000000000|<VTMS>5|<ADDV>1|<VGID>v1|<BAP>kept|<EPG>p0|<IEXT>0|<LFN>d|\n");
            }
        }
    }
}

TEST_F(rollback, cut_line_refuses_the_next_start_until_it_is_mended) {
    ASSERT_EQ(init(), 0);
    add("a");
    const std::string whole = journal();
    host().files.faults = {{file_op::write, "collect_file_", 0, 0, 1, 3}};
    EXPECT_EQ(add("b"), EIO);
    const std::string name = reach::cur_journal_file(*share);
    EXPECT_EQ(restart(), 22);
    EXPECT_TRUE(host().collect.batches.empty());
    write_file(name, whole);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(host().collect.batches.size(), 1u);
}

TEST_F(rollback, missing_memory_is_an_answer_at_every_step) {
    const std::pair<int, const char*> steps[] = {{12, ""}, {1, ""}, {1, "o:-"}};  // the answer, and what is left
    for (int operation = 0; operation < 3; ++operation) {
        start_over();
        int nth = 0;
        for (const auto& [answer, left] : steps) {
            const index_iface_props props = change_of("o", operation == 2 ? "dtime=1" : "");
            scripted::fail_allocation(++nth);
            const int ret = operation == 0   ? share->add_item(props)
                            : operation == 1 ? share->update_item(props)
                                             : share->delete_item(props);
            scripted::fail_allocation(0);
            EXPECT_EQ(ret, answer);
            EXPECT_TRUE(logged(-1, "Error: could not instantiate index_iface_"));
            EXPECT_EQ(items(reach::cur_cache(*share)), left);
        }
        EXPECT_EQ(journal(), "");
        EXPECT_EQ(add("o"), 0);
        EXPECT_NE(cached("/d/o"), "2");
    }
}
