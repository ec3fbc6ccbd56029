// Whose state is whose, and what stops a start.
#include "share/state_dir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "tests/share/temporary_tree.h"

namespace share_host {
namespace {

class state_dir_test : public testing::Test {
protected:
    void SetUp() override { ::setenv("XDG_STATE_HOME", tree.at("home").c_str(), 1); }
    void TearDown() override { ::unsetenv("XDG_STATE_HOME"); }

    std::string directory(const std::string& below) const {
        tree.make_directory(below);
        return tree.at(below);
    }

    temporary_tree tree;
};

TEST_F(state_dir_test, directories_of_one_name_get_states_of_their_own_for_good) {
    const std::string one = directory("one/docs");
    const std::string other = directory("other/docs");
    const state_dir first = state_for_directory(one);
    const state_dir second = state_for_directory(other);
    EXPECT_EQ(first.share_name, "docs");
    EXPECT_EQ(second.share_name, "docs-2");
    EXPECT_EQ(state_for_directory(other + "/../docs/").path, second.path);
    EXPECT_EQ(state_for_directory(one).path, first.path);
    EXPECT_EQ(state_of_share("docs-2")->path, second.path);
    EXPECT_FALSE(state_of_share("../one"));
    struct stat info {};
    ASSERT_EQ(::stat(first.path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
}

TEST_F(state_dir_test, a_share_without_a_directory_has_a_state_that_no_directory_gets) {
    const state_dir state = state_for_share("fed");
    EXPECT_EQ(state_of_share("fed")->path, state.path);
    EXPECT_EQ(served_directory(state), "");
    EXPECT_EQ(state_for_share("fed").path, state.path);
    EXPECT_EQ(state_for_share("fed", tree.at("places")).path, tree.at("places/fed"));
    EXPECT_EQ(state_for_directory(directory("fed")).share_name, "fed-2");
    EXPECT_THROW(state_for_directory(directory("docs"), {}, "fed"), std::runtime_error);
    EXPECT_THROW(state_for_share("fed-2"), std::runtime_error) << "a directory's";
    for (const char* name : {"", "..", "a/b", "a b"})
        EXPECT_THROW(state_for_share(name), std::runtime_error) << name;
}

TEST_F(state_dir_test, identity_is_kept_and_damage_is_noticed) {
    const state_dir state = state_for_directory(directory("docs"));
    EXPECT_FALSE(load_identity(state));
    save_identity(state, {"docs", 7, 9, "secret", "http://localhost/"});
    const share_identity identity = load_identity(state).value();
    EXPECT_EQ(identity.subclient_id, 7u);
    EXPECT_EQ(identity.token, "secret");
    std::ofstream(state.identity_file()) << R"({"name":"docs","subclient_id":-1})";
    EXPECT_THROW(load_identity(state), std::runtime_error);
}

}  // namespace
}  // namespace share_host
