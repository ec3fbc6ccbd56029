// Directories and path texts.
#include <gtest/gtest.h>

#include <cerrno>

#include "host/files.h"
#include "tests/hostkit/scratch_directory.h"

namespace {

namespace fs = std::filesystem;

TEST(directories, are_made_with_parents_and_existing_ones_are_fine) {
    const scratch_directory scratch;
    EXPECT_EQ(FXErrorUtil::GetErrNo(CXoDirectory::Create((scratch / "a/b").c_str(), false)), ENOENT);
    EXPECT_FALSE(CXoDirectory::Create((scratch / "a//b/c/").c_str(), true).IsError());
    EXPECT_FALSE(CXoDirectory::Create((scratch / "a/b/c").c_str(), true).IsError());
    EXPECT_TRUE(fs::is_directory(scratch / "a/b/c"));
    scratch.put("plain", "");
    EXPECT_EQ(FXErrorUtil::GetErrNo(CXoDirectory::Create((scratch / "plain/x").c_str(), true)), ENOTDIR);
    EXPECT_EQ(FXErrorUtil::GetErrNo(CXoDirectory::Create((scratch / "plain").c_str(), true)), ENOTDIR);
}

TEST(directories, are_removed_with_their_contents_but_not_with_what_links_in_them_point_to) {
    const scratch_directory scratch;
    fs::create_directories(scratch / "gone/deep/er");
    fs::create_directory(scratch / "kept");
    scratch.put("kept/file", "kept");
    fs::create_directory_symlink(scratch / "kept", scratch / "gone/link");
    EXPECT_TRUE(CXoDirectory::Remove((scratch / "gone").c_str(), false, true).IsError());
    EXPECT_FALSE(CXoDirectory::Remove((scratch / "gone").c_str(), true, true).IsError());
    EXPECT_FALSE(fs::exists(scratch / "gone"));
    EXPECT_EQ(scratch.text_of("kept/file"), "kept");

    EXPECT_FALSE(CXoDirectory::Remove((scratch / "gone").c_str(), true, true).IsError());
    EXPECT_EQ(FXErrorUtil::GetErrNo(CXoDirectory::Remove((scratch / "gone").c_str(), true, false)), ENOENT);
    EXPECT_EQ(FXErrorUtil::GetErrNo(CXoDirectory::Remove((scratch / "kept/file").c_str(), true, true)), ENOTDIR);
}

TEST(path_texts, are_joined_with_one_separator) {
    const auto joined = [](std::string path, const std::string& name) {
        return FXPath::Append(path, name, 0) ? path : "refused " + path;
    };
    EXPECT_EQ(joined("/a", "b"), "/a/b");
    EXPECT_EQ(joined("/a//", "/b/"), "/a/b/");
    EXPECT_EQ(joined("/", "b"), "/b");
    EXPECT_EQ(joined("", "b"), "b");
    EXPECT_EQ(joined("/a", ""), "refused /a");
}

TEST(path_texts, are_formatted_at_any_length) {
    EXPECT_EQ(FXString::Format("%s_%lu_%llu.zyf", "lumo_index", 7UL, 0ULL), "lumo_index_7_0.zyf");
    for (const std::size_t length : {511U, 512U, 5000U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(FXString::Format("<%s>", text.c_str()), "<" + text + ">");
    }
}

}  // namespace
