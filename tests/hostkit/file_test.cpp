// The file class as the journal uses it, including what it does when the disk refuses.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>

#include "host/files.h"
#include "hostkit/settings.h"
#include "tests/support/scratch_directory.h"

namespace {

constexpr int new_journal = O_WRONLY | O_CREAT | O_EXCL | O_TRUNC | O_APPEND;
constexpr int journal_again = O_WRONLY | O_EXCL | O_APPEND;
constexpr int mode = 0644;

class file : public testing::Test {
protected:
    void TearDown() override { sync_mode("none"); }

    static void sync_mode(const std::string& text) { hostkit::process_settings().set("host", "journal_sync", text); }

    // Writes one text; the errno value, or 0.
    int write(const std::string& text) {
        return FXErrorUtil::GetErrNo(one.Write(text.data(), static_cast<std::uint32_t>(text.size()), written));
    }
    int open(const std::string& path, int flags) { return FXErrorUtil::GetErrNo(one.Open(path.c_str(), flags, mode)); }

    scratch_directory scratch;
    CXoFile one;
    std::uint32_t written = 0;
};

TEST_F(file, stands_for_the_former_file_until_another_could_be_opened) {
    ASSERT_EQ(open(scratch / "1", new_journal), 0);
    ASSERT_EQ(write("first|"), 0);
    scratch.put("2", "in the way");
    EXPECT_EQ(open(scratch / "2", new_journal), EEXIST);
    EXPECT_EQ(one.GetName(), scratch / "1");
    ASSERT_EQ(write("second|"), 0);
    ASSERT_EQ(open(scratch / "3", new_journal), 0);
    ASSERT_EQ(open(scratch / "1", journal_again), 0);
    ASSERT_EQ(write("third|"), 0);
    EXPECT_EQ(scratch.text_of("1") + scratch.text_of("2"), "first|second|third|in the way");
    std::uint64_t size = 0;
    EXPECT_FALSE(one.Size(size).IsError());
    EXPECT_EQ(size, 19U);
    EXPECT_FALSE(one.Close().IsError());
    EXPECT_EQ(write("nowhere"), EBADF);
}

TEST_F(file, tells_a_short_write_from_a_failed_one_and_repeats_neither) {
    ASSERT_EQ(open(scratch / "full", new_journal), 0);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const auto former_handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit narrow{10, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &narrow);
    const int short_ret = write("0123456789ABCDEF");
    const std::uint32_t short_count = written;
    const int full_ret = write("more");
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, former_handler);

    EXPECT_EQ(short_ret, 0);
    EXPECT_EQ(short_count, 10U);
    EXPECT_EQ(full_ret, EFBIG);
    EXPECT_EQ(written, 0U);
    EXPECT_EQ(scratch.text_of("full"), "0123456789");
}

// A device that takes bytes and cannot sync stands for a disk whose sync fails.
TEST_F(file, writes_nothing_more_after_a_failed_sync) {
    sync_mode("always");
    ASSERT_EQ(open("/dev/null", journal_again), 0);
    EXPECT_EQ(write("a|"), EINVAL);
    EXPECT_EQ(write("b|"), EIO);
    EXPECT_EQ(written, 0U);
    ASSERT_EQ(open(scratch / "next", new_journal), 0);
    EXPECT_EQ(write("c|"), 0);
}

TEST_F(file, syncs_what_an_interval_owes_before_it_makes_the_next_file) {
    sync_mode("interval:3600000");
    ASSERT_EQ(open("/dev/null", journal_again), 0);
    EXPECT_EQ(write("a|"), 0);
    EXPECT_EQ(open(scratch / "next", new_journal), EINVAL);
    EXPECT_FALSE(std::filesystem::exists(scratch / "next"));
    EXPECT_EQ(open(scratch / "next", new_journal), 0);
}

}  // namespace
