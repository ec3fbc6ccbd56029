// Changes that fail half-way: what the caller hears, what stays behind, and that nothing of it is read again.
#include "tests/support/share_test.h"

using rollback = share_test;

TEST_F(rollback, failed_change_leaves_an_item_that_no_reader_meets) {
    const std::pair<const char*, bool> failures[] = {
        {"write collect_file_0000000001", false}, {"write collect_file_0000000001", true}, {"remember", false}};
    for (const auto& [failing, cut] : failures) {
        for (const std::string operation : {"add", "update", "delete", "rename"}) {
            const bool rename = operation == "rename", remember = std::string(failing) == "remember";
            if (remember && !rename) continue;
            start_over();
            add("kept", "parent=p0 path=/d");
            scripted::fail_call(remember ? 2 : 1, {false, cut});
            const int ret = operation == "add"      ? add("lost")
                            : operation == "update" ? update("lost")
                            : operation == "delete" ? remove("lost")
                                                    : share->rename_item(change_of("lost"), "p2", "/a", false);
            EXPECT_EQ(ret, cut ? EIO : scripted::refused_errno);
            EXPECT_EQ(scripted::failed_calls(), std::vector<std::string>{failing});
            EXPECT_EQ(add("next", "path=/n"), remember ? 0 : 5);

            EXPECT_TRUE(items(reach::cur_cache(*share)).starts_with("kept:1:v1 lost:-"));
            EXPECT_EQ(cached("/d/lost"), "2");
            EXPECT_EQ(cached_guid("lost"), "2");
            EXPECT_EQ(reach::find_child_in_cache_by_path(*share, "/d"), 1);
            EXPECT_NE(found("/a"), "2");  // nothing was renamed away
            EXPECT_TRUE(touched("p1"));   // the parents were touched all the same
            EXPECT_EQ(touched("p2"), rename);
            const std::string sent = collected();
            EXPECT_TRUE(sent.find("<BAP>kept|") != std::string::npos && sent.find("lost") == std::string::npos) << sent;
        }
    }
}
