// The parser of collect lines. It is strict: a tag, number or mark that no writer produces fails the line, because a
// guess would put wrong rows into the index, and nobody would notice.
#include "server/collect_line.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace index_server {

namespace {

using number_member = std::optional<std::int64_t> collect_line::*;
using text_member = std::string_view collect_line::*;

enum class field_kind { operation, mark, constant, text, key, number, property };

/// How one tag is read. Its index in the table stands for it in the set of tags already seen.
struct field_rule {
    std::string_view tag;
    field_kind kind;
    collect_op op = collect_op::none;
    text_member text = nullptr;
    number_member number = nullptr;
    std::int64_t low = std::numeric_limits<std::int64_t>::min();
    std::int64_t high = std::numeric_limits<std::int64_t>::max();
};

constexpr field_rule operation_rule(std::string_view tag, collect_op op) {
    return {tag, field_kind::operation, op};
}

constexpr field_rule text_rule(std::string_view tag, text_member member) {
    return {tag, field_kind::text, collect_op::none, member};
}

constexpr field_rule key_rule(std::string_view tag, text_member member) {
    return {tag, field_kind::key, collect_op::none, member};
}

constexpr field_rule number_rule(std::string_view tag, number_member member,
                                 std::int64_t low = std::numeric_limits<std::int64_t>::min(),
                                 std::int64_t high = std::numeric_limits<std::int64_t>::max()) {
    return {tag, field_kind::number, collect_op::none, nullptr, member, low, high};
}

constexpr std::int64_t int_low = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t int_high = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t unsigned_high = std::numeric_limits<std::uint32_t>::max();

constexpr std::array<field_rule, 28> field_rules{{
    operation_rule("ADD", collect_op::add),
    operation_rule("UPD", collect_op::update),
    operation_rule("DEL", collect_op::remove),
    {"SHOW", field_kind::mark},
    {"ADDV", field_kind::constant},
    {"CPRP", field_kind::property},
    key_rule("VGID", &collect_line::version_guid),
    key_rule("UKEY", &collect_line::version_guid),
    key_rule("BAP", &collect_line::object_guid),
    key_rule("EPG", &collect_line::parent_guid),
    text_rule("LNKT", &collect_line::link_target),
    text_rule("XATTR", &collect_line::xattr),
    text_rule("LFN", &collect_line::name),
    number_rule("VTIM", &collect_line::vtime),
    number_rule("VTMS", &collect_line::vtime_sec),
    number_rule("OTYP", &collect_line::object_type, 1, 8),
    number_rule("FS", &collect_line::size),
    number_rule("MODE", &collect_line::mode, 0, unsigned_high),
    number_rule("UID", &collect_line::uid, 0, unsigned_high),
    number_rule("GID", &collect_line::gid, 0, unsigned_high),
    number_rule("ATIME", &collect_line::atime),
    number_rule("CTIME", &collect_line::ctime),
    number_rule("MTIME", &collect_line::mtime),
    number_rule("DTIM", &collect_line::dtime),
    number_rule("EXTP", &collect_line::extent_type, int_low, int_high),
    number_rule("EXSZ", &collect_line::extent_size),
    number_rule("IEXT", &collect_line::extent_flag, int_low, int_high),
    number_rule("EXTN", &collect_line::extent_number),
}};

constexpr std::string_view line_start = "*??";
constexpr std::string_view property_prefix = "custom_";

/// A tag as it may be shown: short, and without bytes that a terminal would act on.
std::string shown(std::string_view tag) {
    std::string text;
    for (const char c : tag.substr(0, 32))
        text += c >= 0x20 && c < 0x7F ? c : '?';
    return "[" + text + "]";
}

/// The bytes of a tag in one number, which compares faster than a text; 0 for what is too long to be a tag.
constexpr std::uint64_t packed(std::string_view tag) {
    if (tag.size() > sizeof(std::uint64_t)) return 0;
    std::uint64_t number = 0;
    for (const char c : tag)
        number = number << 8 | static_cast<unsigned char>(c);
    return number;
}

constexpr auto packed_tags = [] {
    std::array<std::uint64_t, field_rules.size()> tags{};
    for (std::size_t i = 0; i < tags.size(); ++i)
        tags[i] = packed(field_rules[i].tag);
    return tags;
}();

/// The place of the tag in the table; the table's size for an unknown one.
std::size_t rule_index(std::string_view tag) {
    const auto found = std::find(packed_tags.begin(), packed_tags.end(), packed(tag));
    return static_cast<std::size_t>(found - packed_tags.begin());
}

std::string read_number(const field_rule& rule, std::string_view value, collect_line& line) {
    std::int64_t number = 0;
    const char* end = value.data() + value.size();
    const auto result = std::from_chars(value.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number < rule.low || number > rule.high)
        return "bad number in " + shown(rule.tag);
    line.*rule.number = number;
    return {};
}

std::string read_property(std::string_view value, collect_line& line) {
    const std::size_t colon = value.find(':');
    if (value.substr(0, property_prefix.size()) != property_prefix || colon == std::string_view::npos)
        return "bad custom property";
    if (colon > property_prefix.size() + max_collect_key_bytes) return "too long a name of a custom property";
    const std::string_view name = value.substr(property_prefix.size(), colon - property_prefix.size());
    line.custom_props.emplace_back(name, value.substr(colon + 1));
    return {};
}

std::string read_field(const field_rule& rule, std::string_view value, collect_line& line) {
    switch (rule.kind) {
        case field_kind::operation:
            if (line.op != collect_op::none) return "two operations";
            line.op = rule.op;
            return value.empty() ? std::string() : "value in " + shown(rule.tag);
        case field_kind::mark:
            return value.empty() ? std::string() : "value in " + shown(rule.tag);
        case field_kind::constant:
            return value == "1" ? std::string() : "bad value in " + shown(rule.tag);
        case field_kind::key:
            if (value.size() > max_collect_key_bytes) return "too long a value in " + shown(rule.tag);
            [[fallthrough]];
        case field_kind::text:
            // Only a name can be written empty: it is what follows the last slash of a path.
            if (value.empty() && rule.text != &collect_line::name) return "no value in " + shown(rule.tag);
            if (!(line.*rule.text).empty()) return "two versions";
            line.*rule.text = value;
            return {};
        case field_kind::number:
            return read_number(rule, value, line);
        case field_kind::property:
            return read_property(value, line);
    }
    return "unknown tag " + shown(rule.tag);
}

/// Whether two of them have the same name. A line can hold tens of thousands: too many to compare each with each.
bool have_twins(const std::vector<std::pair<std::string_view, std::string_view>>& properties) {
    if (properties.size() < 2) return false;
    std::vector<std::string_view> names;
    for (const auto& [name, value] : properties)
        names.push_back(name);
    std::sort(names.begin(), names.end());
    return std::adjacent_find(names.begin(), names.end()) != names.end();
}

std::string check_whole(const collect_line& line, bool has_ukey) {
    if (line.op == collect_op::none) return "no operation";
    if (line.object_guid.empty()) return "no identity";
    if (has_ukey && !line.is_extent) return "UKEY on a line that is no extent";
    if (have_twins(line.custom_props)) return "a custom property stands twice";
    return {};
}

}  // namespace

std::string parse_collect_line(std::string_view text, collect_line& line) {
    line = collect_line{};
    if (text.substr(0, line_start.size()) != line_start) return "no line start";
    text.remove_prefix(line_start.size());
    if (text.size() < 2 || text.back() != '|') return "incomplete line";
    const std::size_t end = text.size() - 1;

    std::uint64_t seen = 0;
    bool has_ukey = false;
    for (std::size_t at = 0; at < end;) {
        const std::size_t tag_end = text.find('>', at);
        if (text.substr(at, 2) != "|<" || tag_end == std::string_view::npos || tag_end >= end) return "no tag";
        const std::string_view tag = text.substr(at + 2, tag_end - at - 2);
        const std::size_t index = rule_index(tag);
        if (index == field_rules.size()) return "unknown tag " + shown(tag);
        const field_rule& rule = field_rules[index];

        const std::uint64_t bit = std::uint64_t{1} << index;
        if ((seen & bit) != 0 && rule.kind != field_kind::property) return "a tag stands twice: " + shown(tag);
        seen |= bit;
        has_ukey |= rule.tag == "UKEY";

        std::size_t value_end = end;
        if (rule.text != &collect_line::name) value_end = std::min(text.find("|<", tag_end), end);
        std::string reason = read_field(rule, text.substr(tag_end + 1, value_end - tag_end - 1), line);
        if (!reason.empty()) return reason;
        at = value_end;
    }
    line.is_extent = line.extent_flag == 1;
    return check_whole(line, has_ukey);
}

}  // namespace index_server
