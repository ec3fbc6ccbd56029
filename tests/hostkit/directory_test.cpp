// Directories, made and removed.
#include <gtest/gtest.h>

#include <cerrno>

#include "host/files.h"
#include "tests/support/scratch_directory.h"

namespace {

namespace fs = std::filesystem;

TEST(directories, are_made_with_parents_and_removed_without_what_links_in_them_point_to) {
    const scratch_directory scratch;
    const auto make = [&](const std::string& name, bool parents) {
        return FXErrorUtil::GetErrNo(CXoDirectory::Create((scratch / name).c_str(), parents));
    };
    const auto remove = [&](const std::string& name, bool contents, bool quiet) {
        return FXErrorUtil::GetErrNo(CXoDirectory::Remove((scratch / name).c_str(), contents, quiet));
    };
    scratch.put("plain", "");
    EXPECT_EQ(make("gone/deep", false), ENOENT);
    EXPECT_EQ(make("gone//deep/er/", true), 0);
    EXPECT_EQ(make("gone/deep/er", true), 0);
    EXPECT_EQ(make("plain", true), ENOTDIR);
    EXPECT_EQ(make("plain/x", true), ENOTDIR);

    fs::create_directory(scratch / "kept");
    scratch.put("kept/file", "kept");
    fs::create_directory_symlink(scratch / "kept", scratch / "gone/link");
    EXPECT_NE(remove("gone", false, true), 0);
    EXPECT_EQ(remove("gone", true, true), 0);
    EXPECT_FALSE(fs::exists(scratch / "gone"));
    EXPECT_EQ(scratch.text_of("kept/file"), "kept");
    EXPECT_EQ(remove("gone", true, true), 0);
    EXPECT_EQ(remove("gone", true, false), ENOENT);
    EXPECT_EQ(remove("kept/file", true, true), ENOTDIR);
}

}  // namespace
