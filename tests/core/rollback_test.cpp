// Changes that fail half-way: what the caller hears, what stays behind, and that nothing of it is read again.
#include "tests/support/share_test.h"

namespace {

class rollback : public share_test {
protected:
    struct row {
        int (*make)(index_iface&, const index_iface_props&);
        const char* more;
        int insertions;
    };
    static constexpr row operations[] = {
        {[](index_iface& share, const index_iface_props& props) { return share.add_item(props); }, "", 2},
        {[](index_iface& share, const index_iface_props& props) { return share.update_item(props); }, "", 2},
        {[](index_iface& share, const index_iface_props& props) { return share.delete_item(props); }, "dtime=1", 2},
        {[](index_iface& share, const index_iface_props& props) { return share.rename_item(props, "p2", "/a", false); },
         "", 3},
    };
};

}  // namespace

TEST_F(rollback, failed_change_leaves_an_item_that_no_reader_meets) {
    const std::pair<const char*, bool> failures[] = {
        {"write collect_file_0000000001", false}, {"write collect_file_0000000001", true}, {"remember", false}};
    for (const auto& [failing, cut] : failures) {
        for (const row& operation : operations) {
            const bool rename = operation.insertions == 3, remember = std::string(failing) == "remember";
            if (remember && !rename) continue;
            start_over();
            add("kept", "parent=p0 path=/d");
            scripted::fail_call(remember ? 2 : 1, {false, cut});
            EXPECT_EQ(operation.make(*share, change_of("lost", operation.more)), cut ? EIO : scripted::refused_errno);
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
