// See message_escape.h. Runs of ordinary characters are copied as they are, so that a page of names and GUIDs costs
// little more than a copy.
#include "hostkit/message_escape.h"

#include <array>
#include <charconv>

namespace hostkit {
namespace {

enum class byte_kind : unsigned char { plain, escape, entity, backslash, multibyte };

constexpr std::array<byte_kind, 256> byte_kinds = [] {
    std::array<byte_kind, 256> kinds{};
    for (int b = 0; b < 0x20; ++b)
        kinds[b] = byte_kind::escape;
    for (int b = 0x7f; b < 0x100; ++b)
        kinds[b] = b == 0x7f ? byte_kind::escape : byte_kind::multibyte;
    for (const unsigned char b : {'&', '<', '>', '"', '\''})
        kinds[b] = byte_kind::entity;
    kinds['\\'] = byte_kind::backslash;
    return kinds;
}();

/// The length of the UTF-8 sequence at the start of `s`, whose first byte is above 0x7F; 0 when it is none, is
/// overlong, or stands for a code point that XML has no place for (surrogates, U+FFFE, U+FFFF).
std::size_t sequence_length(std::string_view s) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
    const unsigned lead = byte(0);
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || s.size() < length) return 0;
    unsigned code = lead & (0x7fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0u) != 0x80u) return 0;
        code = code << 6 | (byte(i) & 0x3fu);
    }
    constexpr unsigned smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < smallest[length] || code > 0x10ffff) return 0;
    if ((code >= 0xd800 && code <= 0xdfff) || code == 0xfffe || code == 0xffff) return 0;
    return length;
}

void append_hex(std::string& text, unsigned char byte) {
    constexpr char digits[] = "0123456789abcdef";
    const char escape[] = {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    text.append(escape, sizeof escape);
}

std::string_view entity_of(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        default:
            return "&apos;";
    }
}

}  // namespace

void append_escaped(std::string& text, std::string_view value) {
    std::size_t copied = 0;
    std::size_t at = 0;
    while (at < value.size()) {
        const byte_kind kind = byte_kinds[static_cast<unsigned char>(value[at])];
        const std::size_t valid = kind == byte_kind::plain       ? 1
                                  : kind == byte_kind::multibyte ? sequence_length(value.substr(at))
                                                                 : 0;
        if (valid != 0) {
            at += valid;
            continue;
        }
        text.append(value, copied, at - copied);
        if (kind == byte_kind::entity)
            text += entity_of(value[at]);
        else if (kind == byte_kind::backslash)
            text += "\\\\";
        else
            append_hex(text, static_cast<unsigned char>(value[at]));
        copied = ++at;
    }
    text.append(value, copied);
}

bool append_unescaped(std::string& value, std::string_view text) {
    for (;;) {
        const std::size_t backslash = text.find('\\');
        value.append(text.substr(0, backslash));
        if (backslash == std::string_view::npos) return true;
        text.remove_prefix(backslash + 1);
        if (text.starts_with('\\')) {
            value += '\\';
            text.remove_prefix(1);
            continue;
        }
        if (text.size() < 3 || text[0] != 'x') return false;
        unsigned char byte = 0;
        const char* const end = text.data() + 3;
        if (std::from_chars(text.data() + 1, end, byte, 16).ptr != end) return false;
        value += static_cast<char>(byte);
        text.remove_prefix(3);
    }
}

}  // namespace hostkit
