// Directories, made and removed.
#include <gtest/gtest.h>

#include <cerrno>

#include "host/files.h"
#include "tests/support/scratch_directory.h"

namespace {

namespace fs = std::filesystem;

TEST(directories, are_made_with_parents_and_removed_without_what_links_in_them_point_to) {
    const scratch_directory scratch;
    const auto make = [&](const std::string& name) {
        return FXErrorUtil::GetErrNo(CXoDirectory::Create((scratch / name).c_str(), true));
    };
    const auto remove = [&](bool contents) {
        return FXErrorUtil::GetErrNo(CXoDirectory::Remove((scratch / "gone").c_str(), contents, false));
    };
    scratch.put("plain", "");
    EXPECT_EQ(make("gone//deep/er/"), 0);
    EXPECT_EQ(make("plain/x"), ENOTDIR);

    fs::create_directory(scratch / "kept");
    scratch.put("kept/file", "kept");
    fs::create_directory_symlink(scratch / "kept", scratch / "gone/link");
    EXPECT_NE(remove(false), 0);
    EXPECT_EQ(remove(true), 0);
    EXPECT_FALSE(fs::exists(scratch / "gone"));
    EXPECT_EQ(scratch.text_of("kept/file"), "kept");
}

}  // namespace
