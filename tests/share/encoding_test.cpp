// Every byte string survives the border, and nothing that crosses it can forge an entry.
#include "share/encoding.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace share_host {
namespace {

void expect_round_trip(const std::string& text) {
    const std::string encoded = encode_text(text);
    EXPECT_TRUE(is_line_safe(encoded));
    EXPECT_EQ(to_valid_utf8(encoded), encoded) << "the result is not UTF-8";
    EXPECT_EQ(decode_text(encoded), text);
    EXPECT_EQ(decode_text(encode_custom_key(text)), text);
    EXPECT_EQ(encode_custom_key(text).find(':'), std::string::npos);
    const std::string value = encode_custom_value(text);
    EXPECT_FALSE(value.empty());
    EXPECT_EQ(decode_custom_value(value), text);
}

TEST(encoding_test, every_pair_of_bytes_and_many_longer_texts_come_back) {
    for (int pair = 0; pair < 65536; ++pair)
        expect_round_trip({static_cast<char>(pair / 256), static_cast<char>(pair % 256)});
    std::mt19937 random(7);
    // Bytes that make up, or nearly make up, sequences of three and four bytes, and escapes.
    const std::string pool = "\xE0\xED\xEF\xF0\xF4\xF5\x80\x8F\x90\x9F\xA0\xBF\xC2%%2FaA|:\n";
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (std::size_t length = random() % 8; length > 0; --length)
            text += pool[random() % pool.size()];
        expect_round_trip(text);
    }
    expect_round_trip("");
}

TEST(encoding_test, encodes_just_what_has_to_be) {
    const std::map<std::string, std::string> cases = {
        {"/a:b/c\\d=e;f\"'&", "/a:b/c\\d=e;f\"'&"},
        {"|<>%", "%7C%3C%3E%25"},
        {std::string("\0\n\x1f\x7f", 4), "%00%0A%1F%7F"},
        {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"},
        {"\xc0\xaf", "%C0%AF"},
        {"\xed\xa0\x80", "%ED%A0%80"},
        {"\xf4\x90\x80\x80", "%F4%90%80%80"},
    };
    for (const auto& [text, encoded] : cases)
        EXPECT_EQ(encode_text(text), encoded);
}

TEST(encoding_test, what_is_no_escape_stands_for_itself) {
    for (const std::string text : {"%", "%4", "%zz", "100%", "% 41"})
        EXPECT_EQ(decode_text(text), text);
    EXPECT_EQ(decode_text("%%41%4a"), "%AJ");
    EXPECT_EQ(decode_custom_value("%25"), "%");
}

}  // namespace
}  // namespace share_host
