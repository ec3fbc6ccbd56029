// What is encoded follows from the reader of the entry lines: it ends a value at '|', '<' or '>', a line at a line
// feed, and a custom value at ':'. '%' is encoded because it begins an escape, so every encoded text decodes to one
// text only.
#include "share/encoding.h"

namespace share_host {
namespace {

/// Length of the valid UTF-8 sequence at the start of `text`, 0 when there is none.
std::size_t sequence_length(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    // The second byte's range leaves out overlong forms, surrogates and what lies above U+10FFFF.
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    }
    if (length == 0 || text.size() < length || byte(1) < low || byte(1) > high) return 0;
    for (std::size_t at = 2; at < length; ++at) {
        if (byte(at) < 0x80 || byte(at) > 0xBF) return 0;
    }
    return length;
}

bool is_control(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20 || value == 0x7F;
}

void append_escape(std::string& result, char byte) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    result += '%';
    result += digits[value >> 4];
    result += digits[value & 15];
}

template <class MustEscape>
std::string escape(std::string_view text, MustEscape must_escape) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        if (length == 0 || (length == 1 && must_escape(text[0]))) {
            append_escape(result, text[0]);
            text.remove_prefix(1);
        } else {
            result.append(text, 0, length);
            text.remove_prefix(length);
        }
    }
    return result;
}

bool breaks_a_line(char byte) {
    return byte == '|' || byte == '<' || byte == '>' || is_control(byte);
}

bool needs_escape(char byte) {
    return byte == '%' || breaks_a_line(byte);
}

int hex_value(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

constexpr std::string_view empty_custom_value = "%";

}  // namespace

std::string encode_text(std::string_view text) {
    return escape(text, needs_escape);
}

std::string decode_text(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const int high = text[at] == '%' && at + 2 < text.size() ? hex_value(text[at + 1]) : -1;
        const int low = high >= 0 ? hex_value(text[at + 2]) : -1;
        if (low >= 0) {
            result += static_cast<char>(high * 16 + low);
            at += 2;
        } else {
            result += text[at];
        }
    }
    return result;
}

std::string encode_custom_key(std::string_view key) {
    return escape(key, [](char byte) { return byte == ':' || needs_escape(byte); });
}

std::string encode_custom_value(std::string_view value) {
    return value.empty() ? std::string(empty_custom_value) : encode_custom_key(value);
}

std::string decode_custom_value(std::string_view value) {
    return value == empty_custom_value ? std::string() : decode_text(value);
}

bool is_line_safe(std::string_view text) {
    for (const char byte : text) {
        if (breaks_a_line(byte)) return false;
    }
    return true;
}

std::string to_valid_utf8(std::string_view text) {
    return escape(text, [](char) { return false; });
}

}  // namespace share_host
