// What the program prints of names and objects that others made.
#include "iif/output.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

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

TEST(output, an_object_is_printed_in_three_forms) {
    index_iface_props props;
    props.path = "/dir/new%0Aline";
    props.mode = S_IFLNK | S_ISUID | S_ISVTX | 0751;
    props.mode_valid = true;
    props.size = 12;
    props.mtime = 1714557600;
    props.link_target = "pi%7Cpe";
    EXPECT_EQ(object_line(props, props.path, output_form::plain, false), "/dir/new\nline");
    EXPECT_EQ(object_line(props, "new%0Aline", output_form::plain, true), "new\\x0Aline");
    EXPECT_EQ(object_line(props, "x", output_form::wide, false),
              "lrwsr-x--t       ?       ?           12 2024-05-01T10:00:00Z x -> pi|pe");
    props.xattr = "\xff";
    const std::string json = object_line(props, "", output_form::json, true);
    EXPECT_NE(json.find(R"("path":"/dir/new%0Aline")"), std::string::npos) << json;
    EXPECT_EQ(json.find('\xff'), std::string::npos) << "always valid UTF-8";
}

}  // namespace
