// Passes over a real directory against an index in memory. After each story the index holds exactly the tree.
#include "share/reconcile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/share/fake_index.h"
#include "tests/share/temporary_tree.h"

namespace share_host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class reconcile_test : public testing::Test {
protected:
    reconcile_summary pass() {
        index.log.clear();
        return reconcile(index, options(), stop.get_token());
    }
    reconcile_options options() const {
        reconcile_options result;
        result.directory = tree.path;
        return result;
    }
    void expect_settled() {
        EXPECT_EQ(index.paths(), tree.index_paths());
        const reconcile_summary again = pass();
        EXPECT_TRUE(again.whole()) << again.problem;
        EXPECT_EQ(again.changes(), 0u);
        EXPECT_EQ(again.objects, tree.index_paths().size());
    }
    std::string guid_of(const std::string& path) const { return index.at(path).object_guid; }
    std::vector<std::string> changes() const {
        std::vector<std::string> result;
        for (const std::string& line : index.log) {
            if (!line.starts_with("browse")) result.push_back(line);
        }
        return result;
    }

    temporary_tree tree;
    fake_index index;
    std::stop_source stop;
};

TEST_F(reconcile_test, reports_exactly_what_changed_and_a_moved_directory_as_one_move) {
    tree.make_directory("old/inner");
    tree.make_directory("other");
    for (const char* name : {"same", "changed", "gone", "leaves"})
        tree.write("old/inner/" + std::string(name));
    tree.write("old/swapped"), tree.write("other/swapped");
    pass();
    const std::map<std::string, std::string> moves{{"/old", "/new/place"},
                                                   {"/old/inner", "/new/place/renamed"},
                                                   {"/old/inner/leaves", "/a_file"},
                                                   {"/old/swapped", "/other/swapped"},
                                                   {"/other/swapped", "/new/place/swapped"}};
    std::map<std::string, std::string> guids;
    for (const auto& [from, to] : moves)
        guids[to] = guid_of(from);
    index.objects.at(guid_of("/old/inner/same")).newest.atime += 1000;  // that alone makes no version
    tree.make_directory("new");
    tree.rename("old", "new/place");
    tree.rename("new/place/inner", "new/place/renamed");
    tree.rename("new/place/renamed/leaves", "a_file");
    tree.write("new/place/renamed/changed", "longer than before");
    tree.remove("new/place/renamed/gone");
    tree.write("new/place/renamed/added");
    tree.rename("other/swapped", "aside");
    tree.rename("new/place/swapped", "other/swapped");
    tree.rename("aside", "new/place/swapped");
    const reconcile_summary second = pass();
    EXPECT_EQ(second.moved, moves.size());
    EXPECT_EQ(second.added, 2u);
    EXPECT_EQ(second.deleted, 1u);
    EXPECT_THAT(changes(), testing::IsSupersetOf({"rename /old to /new/place", "add /new/place/renamed/added",
                                                  "rename /old/inner to /new/place/renamed",
                                                  "update /new/place/renamed/changed", "delete /old/inner/gone"}));
    EXPECT_THAT(changes(), Not(testing::Contains(HasSubstr("same"))));
    for (const auto& [path, guid] : guids)
        EXPECT_EQ(guid_of(path), guid) << path;
    expect_settled();
}

TEST_F(reconcile_test, a_replaced_name_is_another_object_and_a_crash_between_the_two_heals) {
    tree.write("file", "one");
    tree.make_directory("becomes_file/below");
    pass();
    const std::string former = guid_of("/file");
    tree.write("new", "two");
    tree.rename("new", "file");
    tree.remove("becomes_file");
    tree.write("becomes_file");
    pass();
    EXPECT_NE(guid_of("/file"), former);
    EXPECT_FALSE(index.objects.at(former).alive);
    expect_settled();
    index.objects.at(former).alive = true;
    EXPECT_EQ(pass().deleted, 1u);
    EXPECT_FALSE(index.objects.at(former).alive);
    expect_settled();
}

TEST_F(reconcile_test, what_is_gone_goes_with_its_descendants_children_first) {
    tree.make_directory("gone/deeper");
    tree.write("gone/deeper/file");
    tree.write("gone/moves_out");
    pass();
    tree.rename("gone/moves_out", "moved");
    tree.remove("gone");
    const reconcile_summary second = pass();
    EXPECT_EQ(second.deleted, 3u);
    EXPECT_EQ(second.moved, 1u);
    const std::vector<std::string> reported = changes();
    ASSERT_GE(reported.size(), 3u);
    EXPECT_THAT(std::vector(reported.end() - 3, reported.end()),
                ElementsAre("delete /gone/deeper/file", "delete /gone/deeper", "delete /gone"));
    expect_settled();
}

TEST_F(reconcile_test, names_of_one_inode_are_objects_of_their_own_and_keep_their_guids) {
    tree.make_directory("d");
    tree.write("d/first");
    pass();
    const std::string first = guid_of("/d/first");
    tree.hard_link("d/first", "a_further");
    tree.hard_link("d/first", "d/z_further");
    EXPECT_EQ(pass().added, 2u);
    EXPECT_EQ(guid_of("/d/first"), first) << "the walk met /a_further before";
    const std::string further = guid_of("/a_further");
    EXPECT_NE(further, guid_of("/d/z_further"));
    expect_settled();

    tree.rename("d", "e");
    pass();
    EXPECT_EQ(guid_of("/e/first"), first);
    expect_settled();

    tree.remove("e");
    pass();
    EXPECT_EQ(guid_of("/a_further"), further) << "a name keeps what the index knows it under";
    expect_settled();
}

TEST_F(reconcile_test, a_directory_that_the_index_cannot_tell_about_is_a_gap_and_never_empty) {
    tree.make_directory("d/inner");
    tree.write("d/inner/file");
    tree.write("other");
    pass();
    index.failing_browses = {"/d"};
    tree.remove("d/inner");
    tree.remove("other");
    const reconcile_summary second = pass();
    EXPECT_EQ(second.gaps, 1u);
    EXPECT_FALSE(second.whole());
    EXPECT_THAT(second.problem, HasSubstr("/d"));
    EXPECT_EQ(second.added, 0u) << "what is below is not new";
    EXPECT_EQ(second.deleted, 1u);
    index.failing_browses.clear();
    pass();
    expect_settled();
}

TEST_F(reconcile_test, nothing_is_reported_gone_when_the_tree_was_replaced_as_a_whole) {
    tree.make_directory("root");
    tree.write("root/file");
    reconcile_options watched = options();
    watched.directory = tree.at("root");
    watched.root_record = tree.at("record");
    EXPECT_TRUE(reconcile(index, watched, {}).whole());
    tree.rename("root", "unmounted");
    tree.make_directory("root");
    const reconcile_summary second = reconcile(index, watched, {});
    EXPECT_FALSE(second.whole());
    EXPECT_EQ(second.changes(), 0u);
    EXPECT_THAT(second.problem, HasSubstr(watched.root_record));
    tree.remove("root");
    EXPECT_EQ(reconcile(index, watched, {}).gaps, 1u) << "a root that is not there";
}

TEST_F(reconcile_test, a_directory_swapped_during_the_pass_is_a_gap) {
    tree.make_directory("a/known");
    tree.write("a/known/file");
    pass();
    index.objects.at(guid_of("/a/known")).newest.size = 1;
    // By now the pass has seen the directory and not yet opened it.
    index.before_change = [&](const std::string& line) {
        if (line != "update /a/known") return;
        tree.rename("a/known", "aside");
        tree.make_directory("a/known");
    };
    const reconcile_summary second = pass();
    EXPECT_EQ(second.gaps, 1u);
    EXPECT_EQ(second.deleted, 0u);
    EXPECT_TRUE(index.paths().count("/a/known/file"));
    index.before_change = nullptr;
    pass();
    expect_settled();
}

TEST_F(reconcile_test, a_refused_change_is_tried_again_and_an_invalid_one_given_up) {
    tree.write("file");
    index.refusals = {EIO, EIO};
    EXPECT_TRUE(pass().whole());
    expect_settled();
    tree.write("second");
    index.objects.at("root").newest.size = 1;
    index.refusals = {EINVAL};
    const reconcile_summary invalid = pass();
    EXPECT_EQ(invalid.refused, 1u);
    EXPECT_FALSE(invalid.whole());
}

TEST_F(reconcile_test, a_stopped_pass_reports_nothing_gone) {
    for (int number = 0; number < 5; ++number)
        tree.write("file" + std::to_string(number));
    pass();
    tree.remove("file0");
    tree.write("file1", "changed in size");
    index.before_change = [&](const std::string& line) {
        if (line == "update /file1") stop.request_stop();
    };
    const reconcile_summary stopped = pass();
    EXPECT_FALSE(stopped.complete);
    EXPECT_EQ(stopped.deleted, 0u);
    EXPECT_TRUE(index.paths().count("/file0"));
}

TEST_F(reconcile_test, a_version_from_the_future_is_overtaken) {
    tree.write("file");
    pass();
    index_iface_props& newest = index.objects.at(guid_of("/file")).newest;
    newest.vtime += 3600LL * 1000000000;
    newest.version_guid = "later";
    newest.size = 1;
    EXPECT_EQ(pass().updated, 1u);
    EXPECT_EQ(index.at("/file").size, 4);
    expect_settled();
}

}  // namespace
}  // namespace share_host
