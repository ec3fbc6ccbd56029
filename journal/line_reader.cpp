// Reads one journal line back into a record. Tokens are cut at every run of "|<>"; a tag's value is the next token,
// whatever it is. Only custom properties are cut at ":|", for two tokens.
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "core/index_iface.h"

namespace {

constexpr std::size_t custom_prefix_length = 7;  // "custom_", skipped and not compared

/// For each byte whether it parts tokens.
using delimiters = std::array<bool, 256>;

constexpr delimiters delimiters_of(std::string_view bytes) {
    delimiters parts{};
    for (const char byte : bytes) {
        parts[static_cast<unsigned char>(byte)] = true;
    }
    return parts;
}

constexpr delimiters field_delimiters = delimiters_of("|<>");
constexpr delimiters custom_delimiters = delimiters_of(":|");

/// The first of "|<>" in [at, end), or `end`. The three differ in two bits alone, so that eight bytes are looked
/// through at once; "~", which differs in no other bit either, is told apart afterwards.
const char* find_field_delimiter(const char* at, const char* end) {
    constexpr std::uint64_t every_byte = 0x0101010101010101;
    static_assert(('|' & 0xBD) == 0x3C && ('<' & 0xBD) == 0x3C && ('>' & 0xBD) == 0x3C);
    while (static_cast<std::size_t>(end - at) >= sizeof(std::uint64_t)) {
        std::uint64_t bytes;
        memcpy(&bytes, at, sizeof(bytes));
        const std::uint64_t other = (bytes & 0xBD * every_byte) ^ 0x3C * every_byte;  // 0 where one may stand
        const std::uint64_t found = (other - every_byte) & ~other & 0x80 * every_byte;
        if (found == 0) {
            at += sizeof(bytes);
            continue;
        }
        if constexpr (std::endian::native == std::endian::little) {
            at += std::countr_zero(found) / 8;
        }
        if (field_delimiters[static_cast<unsigned char>(*at)]) {
            return at;
        }
        ++at;
    }
    while (at != end && !field_delimiters[static_cast<unsigned char>(*at)]) {
        ++at;
    }
    return at;
}

const char* find_custom_delimiter(const char* at, const char* end) {
    return std::find_if(at, end, [](char byte) { return custom_delimiters[static_cast<unsigned char>(byte)]; });
}

/// Walks the tokens of one line. No token is empty, so that an empty one is the end.
class tokens {
public:
    explicit tokens(std::string_view line) : at_(line.data()), end_(line.data() + line.size()) {}

    std::string_view next() { return next(field_delimiters, find_field_delimiter); }
    std::string_view next_custom() { return next(custom_delimiters, find_custom_delimiter); }

private:
    template <class Find>
    std::string_view next(const delimiters& parts, Find find) {
        while (at_ != end_ && parts[static_cast<unsigned char>(*at_)]) {
            ++at_;
        }
        const char* begin = at_;
        at_ = find(begin, end_);
        const std::string_view token(begin, static_cast<std::size_t>(at_ - begin));
        at_ += at_ != end_ ? 1 : 0;  // with the delimiter behind it, which another set of delimiters no longer sees
        return token;
    }

    const char* at_;
    const char* end_;
};

std::string_view without_prefix(std::string_view text, std::size_t length) {
    return text.substr(std::min(length, text.size()));
}

/// Reads a number as strtol does. A text that is no number leaves the field alone. What stands behind a token, a
/// delimiter or the end of the line, ends a number too.
template <class Number>
void read_number(std::string_view text, Number& out) {
    using widest = std::conditional_t<std::is_unsigned_v<Number>, unsigned long, long long>;
    widest value = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc()) {
        // White space, a sign that from_chars does not take, or more digits than fit.
        char* end = nullptr;
        if constexpr (std::is_unsigned_v<Number>) {
            value = strtoul(text.data(), &end, 10);
        } else {
            value = strtoll(text.data(), &end, 10);
        }
        if (end == text.data()) {
            return;
        }
    }
    out = static_cast<Number>(value);
}

/// A tag of up to eight bytes as a number, so that a line's tags are told apart without comparing texts; 0 for a longer
/// one.
constexpr std::uint64_t packed(std::string_view tag) {
    std::uint64_t bytes = 0;
    if (tag.size() <= sizeof(bytes)) {
        for (const char byte : tag) {
            bytes = bytes << 8 | static_cast<unsigned char>(byte);
        }
    }
    return bytes;
}

void read_text(tokens& line, std::string& out) {
    if (const std::string_view value = line.next(); !value.empty()) {
        out = value;
    }
}

template <class Number>
void read_field(tokens& line, Number& out) {
    if (const std::string_view value = line.next(); !value.empty()) {
        read_number(value, out);
    }
}

// The flag is set even by a value that is no number.
void read_flagged(tokens& line, bool& valid, std::uint32_t& out) {
    if (const std::string_view value = line.next(); !value.empty()) {
        valid = true;
        read_number(value, out);
    }
}

void read_custom_property(tokens& line, index_iface_props& props) {
    const std::string_view key = line.next_custom();
    const std::string_view value = line.next_custom();
    if (!value.empty()) {
        props.custom_props[std::string(without_prefix(key, custom_prefix_length))] = value;
    }
}

/// False when the tag stands for no operation and for no field of an object's place, times and owner.
bool read_common_tag(std::uint64_t tag, tokens& line, index_iface_props& props) {
    switch (tag) {
        case packed("ADD"):
            props.idx_ops = index_iface_props::ADD;
            return true;
        case packed("UPD"):
            props.idx_ops = index_iface_props::UPD;
            return true;
        case packed("DEL"):
            props.idx_ops = index_iface_props::DEL;
            return true;
        case packed("REN"):
            props.idx_ops = index_iface_props::REN;
            return true;
        case packed("VGID"):
            read_text(line, props.version_guid);
            return true;
        case packed("BAP"):
            read_text(line, props.object_guid);
            return true;
        case packed("EPG"):
            read_text(line, props.parent_guid);
            return true;
        case packed("MODE"):
            read_flagged(line, props.mode_valid, props.mode);
            return true;
        case packed("FS"):
            read_field(line, props.size);
            return true;
        case packed("UID"):
            read_flagged(line, props.uid_valid, props.uid);
            return true;
        case packed("GID"):
            read_flagged(line, props.gid_valid, props.gid);
            return true;
        case packed("ATIME"):
            read_field(line, props.atime);
            return true;
        case packed("CTIME"):
            read_field(line, props.ctime);
            return true;
        case packed("MTIME"):
            read_field(line, props.mtime);
            return true;
        case packed("VTIM"):
            read_field(line, props.vtime);
            return true;
        case packed("VTMS"):
            read_field(line, props.vtime_sec);
            return true;
        default:
            return false;
    }
}

void read_rare_tag(std::uint64_t tag, tokens& line, index_iface_props& props) {
    switch (tag) {
        case packed("DTIM"):
            return read_field(line, props.dtime);
        case packed("EXTP"):
            return read_field(line, props.extent_type);
        case packed("EXSZ"):
            return read_field(line, props.extent_size);
        case packed("IEXT"):
            return read_field(line, props.is_extent);
        case packed("EXTN"):
            return read_field(line, props.extent_number);
        case packed("LNKT"):
            return read_text(line, props.link_target);
        case packed("XATTR"):
            return read_text(line, props.xattr);
        case packed("CPRP"):
            return read_custom_property(line, props);
        default:
            return;
    }
}

}  // namespace

// thread: start-up only
int index_iface::process_single_line(index_iface_cache* cache, char* line) {
    index_iface_props props;
    bool ukey_seen = false;
    tokens walk(line);
    for (std::string_view token = walk.next(); !token.empty(); token = walk.next()) {
        const std::uint64_t tag = packed(token);
        if (tag == packed("ERP")) {
            if (const std::string_view path = walk.next(); !path.empty()) {
                props.path = without_prefix(path, sync_folder.size());
            }
        } else if (tag == packed("UKEY")) {
            ukey_seen = true;
            read_text(walk, props.version_guid);
        } else if (!read_common_tag(tag, walk, props)) {
            read_rare_tag(tag, walk, props);
        }
    }
    if (ukey_seen && props.object_guid.empty()) {
        props.object_guid = props.version_guid;
    }
    return insert_props_to_cache(cache, std::move(props));
}
