// The memory of renames: which old paths count as renamed away, from when on, and until when.
#include "tests/support/share_test.h"

namespace {

class rename_cache : public started_share {
protected:
    /// A rename in one directory, of "o" unless `more` says otherwise.
    int move(const std::string& from, const std::string& to, const std::string& more = "") {
        return share->rename_item(change_of("o", "path=" + to + " " + more), "p1", from, false);
    }
    bool renamed(const std::string& path, index_iface_time_t real_before = 10'000'000'000, long before = 0) {
        index_iface_browse_fields fields;
        fields.path = path.c_str();
        fields.real_before_time = real_before;
        fields.before_time = before;
        return reach::was_path_renamed(*share, fields) == 0;
    }
    /// Which of the paths count as renamed away.
    std::string renamed_of(const std::vector<std::string>& paths) {
        std::string text;
        for (const std::string& path : paths)
            text += renamed(path) ? path : "";
        return text;
    }
};

}  // namespace

TEST_F(rename_cache, rename_counts_after_its_change_time_and_by_the_present_bound_alone) {
    move("/a", "/b", "ctime=5");
    EXPECT_FALSE(renamed("/a", 5'000'000'000)) << "strictly before";
    EXPECT_TRUE(renamed("/a", 5'000'000'001));
    EXPECT_TRUE(renamed("/a", 6'000'000'000, 1)) << "a moment asked for in seconds has no say";

    // Without a change time it counts at any time, though the record that it was merged into has one.
    add("n", "ctime=9");
    move("/d/n", "/m", "object=n");
    EXPECT_TRUE(renamed("/d/n", 0));
    EXPECT_FALSE(renamed("/d/n", -1'000'000'000));
}

TEST_F(rename_cache, only_the_last_step_of_a_chain_is_remembered_until_the_object_goes) {
    move("/a", "/b"), move("/b", "/c");
    EXPECT_EQ(renamed_of({"/a", "/b", "/c"}), "/b");
    move("/x", "/b", "object=x");
    rotate();
    move("/b", "/y", "object=x");  // ends an entry of the waiting cache too
    EXPECT_EQ(renamed_of({"/x", "/b"}), "/b");
    remove("x", "path=/b");
    EXPECT_TRUE(renamed("/b")) << "a delete at the old path";
    remove("x", "path=/y");
    EXPECT_TRUE(renamed("/b")) << "that of the waiting cache shows again";
    remove("o", "path=/c");
    EXPECT_FALSE(renamed("/b"));
    move("/s", "/t"), move("/s", "/u");
    remove("o", "path=/t");
    EXPECT_TRUE(renamed("/s")) << "the later of two renames of one path stands";
}

TEST_F(rename_cache, find_by_the_old_path_ends_there_until_the_delivery) {
    move("/a", "/b");
    add("new", "path=/a");
    host().http.requests.clear();
    EXPECT_EQ(found("/a"), "2") << "an add at the old path does not end it";
    EXPECT_EQ(share->get_query_status_msg() + counter("finds"), "failed1");
    rotate();
    EXPECT_EQ(found("/a"), "2");
    break_delivery(1);
    EXPECT_NE(deliver(), 0);
    EXPECT_EQ(found("/a"), "2");
    EXPECT_EQ(deliver(), 0);
    EXPECT_NE(found("/a"), "2");
    EXPECT_EQ(host().http.requests.size(), 1u);
}

TEST_F(rename_cache, replay_does_not_bring_it_back_and_keys_follow_the_case_setting) {
    for (const bool sensitive : {true, false}) {
        arguments.caseSensitiveSearch = sensitive;
        start_over();
        move("/A", "/B");
        EXPECT_EQ(renamed("/a"), !sensitive);
        remove("o", "path=/b");
        EXPECT_EQ(renamed("/A"), sensitive);
        move("/A", "/B");
        EXPECT_EQ(restart(), 0);
        EXPECT_FALSE(renamed("/A"));
    }
}
