// What the program prints of names that others made.
#include "iif/output.h"

#include <gtest/gtest.h>

namespace {

using namespace iif;

TEST(output, no_name_can_move_the_cursor_of_a_terminal) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"plain süß 中文 😀", "plain süß 中文 😀"},
        {"a\nb\tc\x7f", "a\\x0Ab\\x09c\\x7F"},
        {"\x1b[2J", "\\x1B[2J"},
        {"back\\slash", "back\\\\slash"},
        {std::string_view("\0", 1), "\\x00"},
        {"cut\xe2\x82", "cut\\xE2\\x82"},
        {"\xc2\x9b"
         "2J",
         "\\xC2\\x9B2J"},                              // the one-character form of ESC [
        {"\xc0\xaf", "\\xC0\\xAF"},                    // overlong
        {"\xf4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},  // above the last code point
    };
    for (const auto& [raw, shown] : cases)
        EXPECT_EQ(printable(raw), shown);
}

}  // namespace
