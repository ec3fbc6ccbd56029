// See message_stream.h.
#include "hostkit/message_stream.h"

#include <charconv>
#include <stdexcept>

#include "hostkit/message_escape.h"

namespace hostkit {

namespace {

[[noreturn]] void fail(const message_class& described, short field) {
    throw std::logic_error("no field " + std::to_string(field) + " of this kind in " + std::string(described.name));
}

const message_class& class_of(int group, int number) {
    const message_class* described = find_message_class(group, number);
    if (described == nullptr) throw std::logic_error("a message of an unknown class has no text form");
    return *described;
}

}  // namespace

/// Fields are mostly written in the table's order, and a list repeats its own.
template <class Wanted>
const message_field& message_stream::find_field(short field, const Wanted& wanted) {
    element& last = open_.back();
    const auto& fields = last.described->fields;
    for (std::size_t tried = 0; tried < fields.size(); ++tried, ++last.next_field) {
        if (last.next_field >= fields.size()) last.next_field = 0;
        const message_field& candidate = fields[last.next_field];
        if (candidate.field == field && wanted(candidate)) return candidate;
    }
    fail(*last.described, field);
}

message_stream::message_stream(std::string& text, int group, int number) : text_(text) {
    const message_class& described = class_of(group, number);
    open_element(described, described.name);
}

void message_stream::integer(short field, long long value) {
    const auto wanted = [](const message_field& candidate) { return candidate.kind == field_kind::integer; };
    begin_attribute(find_field(field, wanted).name);
    char digits[24];
    text_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    text_ += '"';
}

void message_stream::string(short field, short tag, std::string_view value) {
    const auto wanted = [tag](const message_field& candidate) {
        return candidate.tag == tag && candidate.kind == field_kind::string;
    };
    begin_attribute(find_field(field, wanted).name);
    append_escaped(text_, value);
    text_ += '"';
}

void message_stream::open(short field, short tag) {
    const auto wanted = [tag](const message_field& candidate) {
        return candidate.tag == tag &&
               (candidate.kind == field_kind::child || candidate.kind == field_kind::object_list);
    };
    const message_field& found = find_field(field, wanted);
    if (!open_.back().has_children) text_ += '>';
    open_.back().has_children = true;
    open_element(*found.content, found.name);
}

void message_stream::close() {
    const element& last = open_.back();
    if (last.has_children)
        text_.append("</").append(last.name) += '>';
    else
        text_ += "/>";
    open_.pop_back();
}

void message_stream::open_element(const message_class& described, std::string_view name) {
    (text_ += '<').append(name);
    open_.push_back({&described, name});
}

void message_stream::begin_attribute(std::string_view name) {
    (text_ += ' ').append(name).append("=\"");
}

}  // namespace hostkit
