// One line of a journal file, taken apart for people: its tags with their values, and what is wrong with it.
#include "iif/journal_line.h"

#include <algorithm>
#include <array>

namespace iif {
namespace {

using namespace std::string_view_literals;

constexpr std::array operations{"ADD"sv, "UPD"sv, "DEL"sv, "REN"sv};
constexpr std::array number_tags{"VTIM"sv,  "VTMS"sv,  "ADDV"sv,  "OTYP"sv, "FS"sv,   "MODE"sv, "UID"sv,  "GID"sv,
                                 "ATIME"sv, "CTIME"sv, "MTIME"sv, "DTIM"sv, "EXTP"sv, "EXSZ"sv, "IEXT"sv, "EXTN"sv};
constexpr std::array text_tags{"SHOW"sv, "VGID"sv, "UKEY"sv, "BAP"sv, "EPG"sv, "LNKT"sv, "XATTR"sv, "CPRP"sv, "ERP"sv};

template <std::size_t n>
bool contains(const std::array<std::string_view, n>& tags, std::string_view tag) {
    return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

bool is_number(std::string_view text) {
    if (!text.empty() && text.front() == '-') text.remove_prefix(1);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Empty when nothing is wrong with the field.
std::string field_fault(const journal_field& field) {
    const std::string tag(field.tag);
    if (contains(operations, field.tag)) return field.value.empty() ? "" : tag + " carries a value";
    if (is_number_tag(field.tag)) return is_number(field.value) ? "" : "the value of " + tag + " is not a number";
    if (!contains(text_tags, field.tag)) return "unknown tag " + tag;
    if (field.value.empty() && field.tag != "SHOW") return tag + " has no value";
    return "";
}

// Splits "|<TAG>value" off the front of `rest`; false when `rest` does not begin like one.
bool take_field(std::string_view& rest, journal_field& field) {
    if (!rest.starts_with("|<")) return false;
    const std::size_t close = rest.find('>');
    if (close == std::string_view::npos) return false;
    field.tag = rest.substr(2, close - 2);
    const std::size_t end = rest.find('|', close);
    field.value = rest.substr(close + 1, end == std::string_view::npos ? end : end - close - 1);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end);
    return true;
}

std::string line_fault(const journal_line& line, std::string_view text, std::string_view rest) {
    if (text.find('\0') != std::string_view::npos) return "it holds NUL bytes";
    if (!text.starts_with("*??")) return "it does not begin with the line mark";
    if (rest != "|") return "it does not end with the end mark";
    for (const journal_field& field : line.fields)
        if (std::string fault = field_fault(field); !fault.empty()) return fault;
    if (line.operation().empty()) return "it names no operation";
    if (line.value("BAP").empty() && line.value("UKEY").empty()) return "it names no object";
    return "";
}

}  // namespace

std::string_view journal_line::value(std::string_view tag) const {
    const auto field = std::find_if(fields.begin(), fields.end(), [&](const auto& one) { return one.tag == tag; });
    return field == fields.end() ? std::string_view() : field->value;
}

std::string_view journal_line::operation() const {
    const auto field =
        std::find_if(fields.begin(), fields.end(), [](const auto& one) { return contains(operations, one.tag); });
    return field == fields.end() ? std::string_view() : field->tag;
}

journal_line parse_journal_line(std::string_view text) {
    journal_line line;
    std::string_view rest = text;
    if (rest.starts_with("*??")) rest.remove_prefix(3);
    journal_field field;
    while (take_field(rest, field))
        line.fields.push_back(field);
    line.fault = line_fault(line, text, rest);
    return line;
}

bool is_number_tag(std::string_view tag) {
    return contains(number_tags, tag);
}

}  // namespace iif
