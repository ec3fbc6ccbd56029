// Writes messages as text, straight from their storage. Fields come in the order of their numbers: integers and strings
// as attributes, then children and lists as elements.
#include <charconv>
#include <stdexcept>

#include "hostkit/message_escape.h"
#include "hostkit/message_schema.h"
#include "hostkit/message_storage.h"

namespace hostkit {
namespace {

[[noreturn]] void fail(const message_class& described, short field) {
    throw std::logic_error(std::string("field ") + std::to_string(field) + " of " + std::string(described.name) +
                           " holds something that has no text form");
}

void append_number(std::string& text, long long number) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void append_attribute_name(std::string& text, std::string_view name) {
    text += ' ';
    text += name;
    text += "=\"";
}

void append_open(std::string& text, std::string_view name) {
    text += '<';
    text += name;
}

void append_close(std::string& text, std::string_view name) {
    text += "</";
    text += name;
    text += '>';
}

const message_field& described_integer(const message_class& described, short field) {
    for (const message_field& candidate : described.fields)
        if (candidate.field == field && candidate.kind == field_kind::integer) return candidate;
    fail(described, field);
}

const message_field& described_field(const message_class& described, const stored_field& entry, field_kind kind) {
    for (const message_field& candidate : described.fields)
        if (candidate.field == entry.field && candidate.tag == entry.tag && candidate.kind == kind) return candidate;
    fail(described, entry.field);
}

void append_message(std::string& text, std::string_view name, const CNMessageBase& message,
                    const message_class& described);

/// Appends the fields that stand as elements.
struct element_writer {
    std::string& text;
    const message_class& described;
    const stored_field& entry;

    void operator()(const stored_string&) const {}

    void operator()(const stored_child& child) const {
        const message_field& field = described_field(described, entry, field_kind::child);
        append_message(text, field.name, *child.message, *field.content);
    }

    void operator()(const stored_list& list) const {
        const message_field& field = described_field(described, entry, field_kind::object_list);
        if (&field.list_type() != &list.type()) fail(described, entry.field);
        const std::size_t size = list.size();
        for (std::size_t i = 0; i < size; ++i)
            append_message(text, field.name, *list.type().at(list.get(), i), *field.content);
    }

    void operator()(const stored_strings& list) const {
        const message_field& field = described_field(described, entry, field_kind::string_list);
        for (const std::string& value : *list) {
            append_open(text, field.name);
            text += '>';
            append_escaped(text, value);
            append_close(text, field.name);
        }
    }

    void operator()(const stored_ints& list) const {
        const message_field& field = described_field(described, entry, field_kind::int_list);
        for (const int value : *list) {
            append_open(text, field.name);
            text += '>';
            append_number(text, value);
            append_close(text, field.name);
        }
    }
};

/// True when a field stands as an element, so that an element must be closed with an end tag of its own.
bool has_elements(const CNMessageBase::Impl& storage) {
    for (const stored_field& entry : storage.fields)
        if (!std::holds_alternative<stored_string>(entry.value)) return true;
    return false;
}

void append_attributes(std::string& text, const CNMessageBase::Impl& storage, const message_class& described) {
    for (const stored_integer& entry : storage.integers) {
        append_attribute_name(text, described_integer(described, entry.field).name);
        append_number(text, entry.value);
        text += '"';
    }
    for (const stored_field& entry : storage.fields) {
        const auto* value = std::get_if<stored_string>(&entry.value);
        if (value == nullptr) continue;
        append_attribute_name(text, described_field(described, entry, field_kind::string).name);
        append_escaped(text, **value);
        text += '"';
    }
}

void append_message(std::string& text, std::string_view name, const CNMessageBase& message,
                    const message_class& described) {
    if (message.class_group() != described.group || message.class_number() != described.number)
        throw std::logic_error("a message of another class stands as " + std::string(name));
    append_open(text, name);
    const CNMessageBase::Impl* storage = message.impl();
    if (storage != nullptr) append_attributes(text, *storage, described);
    if (storage == nullptr || !has_elements(*storage)) {
        text += "/>";
        return;
    }
    text += '>';
    for (const stored_field& entry : storage->fields)
        std::visit(element_writer{text, described, entry}, entry.value);
    append_close(text, name);
}

}  // namespace
}  // namespace hostkit

void CNMessageBase::serialize(std::string& text, bool) const {
    const hostkit::message_class* described = hostkit::find_message_class(class_group_, class_number_);
    if (described == nullptr) throw std::logic_error("a message of an unknown class has no text form");
    std::string written;
    hostkit::append_message(written, described->name, *this, *described);
    text = std::move(written);
}
