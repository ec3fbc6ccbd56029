// The log: which lines are written and that none can be forged.
#include "hostkit/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/hostkit/scratch_directory.h"

namespace {

class log : public testing::Test {
protected:
    void TearDown() override { g_ptrLogWriter.reset(); }

    std::vector<std::string> lines() const {
        std::vector<std::string> all;
        std::istringstream text(scratch.text_of("log"));
        for (std::string line; std::getline(text, line);)
            all.push_back(line);
        return all;
    }

    scratch_directory scratch;
};

TEST_F(log, takes_lines_up_to_its_level_and_prepares_no_others) {
    int prepared = 0;
    HOSTKIT_LOG(-1, "%d", ++prepared);
    hostkit::open_log({.level = 2, .file = scratch / "log"});
    HOSTKIT_LOG(3, "%d", ++prepared);
    EXPECT_EQ(prepared, 0);
    HOSTKIT_LOG(2, "delivered [%d]", ++prepared);
    HOSTKIT_LOG(-1, "lost [%s]", std::string(3000, 'x').c_str());
    const auto all = lines();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_THAT(all[0], testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z "
                                              "[0-9]+ 2 delivered \\[1\\]"));
    EXPECT_NE(all[1].find(" -1 lost [" + std::string(3000, 'x') + "]"), std::string::npos);
}

TEST_F(log, writes_control_bytes_so_that_a_name_cannot_forge_a_line) {
    hostkit::open_log({.level = 1, .file = scratch / "log"});
    HOSTKIT_LOG(1, "name [%s]", "a\n2024-01-01 0 -1 forged\x1B[2J {} %s");
    const auto all = lines();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_NE(all[0].find(R"(name [a\x0A2024-01-01 0 -1 forged\x1B[2J {} %s])"), std::string::npos) << all[0];
}

TEST_F(log, keeps_lines_of_many_threads_whole) {
    hostkit::open_log({.level = 1, .file = scratch / "log"});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int line = 0; line < 50; ++line)
                HOSTKIT_LOG(1, "<%s>", std::string(200, 'y').c_str());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const auto all = lines();
    EXPECT_EQ(all.size(), 200U);
    for (const std::string& line : all)
        EXPECT_TRUE(line.ends_with('<' + std::string(200, 'y') + '>'));
}

TEST_F(log, says_when_its_file_cannot_be_opened) {
    scratch.put("plain", "");
    EXPECT_THROW(hostkit::open_log({.level = 1, .file = scratch / "plain/log"}), std::runtime_error);
}

}  // namespace
