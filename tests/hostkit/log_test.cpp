// The log: which lines are written and that none can be forged.
#include "hostkit/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/scratch_directory.h"

namespace {

TEST(log, takes_lines_up_to_its_level_prepares_no_others_and_lets_no_name_forge_one) {
    const scratch_directory scratch;
    int prepared = 0;
    HOSTKIT_LOG(-1, "%d", ++prepared);
    hostkit::open_log({.level = 2, .file = scratch / "log"});
    HOSTKIT_LOG(3, "%d", ++prepared);
    EXPECT_EQ(prepared, 0);
    HOSTKIT_LOG(2, "delivered [%d]", ++prepared);
    HOSTKIT_LOG(-1, "name [%s]", "a\n2024-01-01 0 -1 forged\x1B[2J {} %s");
    const std::string text = scratch.text_of("log"), second = text.substr(text.find('\n') + 1);
    EXPECT_THAT(text.substr(0, text.find('\n')),
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z "
                                      "[0-9]+ 2 delivered \\[1\\]"));
    EXPECT_TRUE(second.ends_with(" -1 name [a\\x0A2024-01-01 0 -1 forged\\x1B[2J {} %s]\n")) << text;
    scratch.put("plain", "");
    EXPECT_THROW(hostkit::open_log({.level = 1, .file = scratch / "plain/log"}), std::runtime_error);
    g_ptrLogWriter.reset();
}

}  // namespace
