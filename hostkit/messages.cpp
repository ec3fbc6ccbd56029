// Storage of messages. An empty message allocates nothing; what a message holds is sorted by number, and it is copied
// and destroyed with it.
#include "host/messages.h"

#include <algorithm>
#include <stdexcept>

#include "hostkit/message_storage.h"

namespace {

using namespace hostkit;
using field_key = std::pair<short, short>;

const std::string empty_string;

/// Room for what most messages hold, made at once: a page of results has thousands of them.
constexpr std::size_t usual_fields = 8;

[[noreturn]] void fail(const char* what, short field, short tag) {
    throw std::logic_error(std::string(what) + " in message field (" + std::to_string(field) + "," +
                           std::to_string(tag) + ")");
}

stored_value copy_of(const stored_value& value) {
    struct copier {
        stored_value operator()(const stored_string& s) const { return std::make_unique<std::string>(*s); }
        stored_value operator()(const stored_strings& l) const {
            return std::make_unique<std::vector<std::string>>(*l);
        }
        stored_value operator()(const stored_ints& l) const { return std::make_unique<std::vector<int>>(*l); }
        stored_value operator()(const stored_child& c) const {
            return stored_child{std::unique_ptr<CNMessageBase>(c.type->copy(*c.message)), c.type};
        }
        stored_value operator()(const stored_list& l) const { return stored_list(l.type().copy(l.get()), &l.type()); }
    };
    return std::visit(copier{}, value);
}

bool holds_something(const stored_value& value) {
    if (const auto* list = std::get_if<stored_list>(&value)) return list->size() != 0;
    if (const auto* strings = std::get_if<stored_strings>(&value)) return !(*strings)->empty();
    if (const auto* ints = std::get_if<stored_ints>(&value)) return !(*ints)->empty();
    return true;
}

/// The value of kind T in a field that must hold nothing else.
template <class T>
const T& value_as(const stored_field& entry) {
    const T* value = std::get_if<T>(&entry.value);
    if (value == nullptr) fail("another kind of value", entry.field, entry.tag);
    return *value;
}

/// The list of plain values at the pair; null when it is absent and not to be made.
template <class Stored>
auto plain_list(CNMessageBase& message, short field, short tag, bool write) -> typename Stored::element_type* {
    if (!write && message.impl() == nullptr) return nullptr;
    CNMessageBase::Impl& storage = message.storage();
    stored_field* entry = storage.find_field(field, tag);
    if (entry == nullptr) {
        if (!write) return nullptr;
        entry = &storage.insert_field(field, tag, std::make_unique<typename Stored::element_type>());
    }
    return value_as<Stored>(*entry).get();
}

}  // namespace

CNMessageBase::Impl::Impl(const Impl& other) : integers(other.integers) {
    fields.reserve(other.fields.size());
    for (const stored_field& entry : other.fields)
        fields.push_back(stored_field{entry.field, entry.tag, copy_of(entry.value)});
}

const stored_integer* CNMessageBase::Impl::find_integer(short field) const noexcept {
    const auto at = std::ranges::lower_bound(integers, field, {}, &stored_integer::field);
    return at != integers.end() && at->field == field ? &*at : nullptr;
}

const stored_field* CNMessageBase::Impl::find_field(short field, short tag) const noexcept {
    const auto at = std::ranges::lower_bound(fields, field_key{field, tag}, {}, &stored_field::key);
    return at != fields.end() && at->key() == field_key{field, tag} ? &*at : nullptr;
}

stored_field& CNMessageBase::Impl::insert_field(short field, short tag, stored_value value) {
    if (fields.empty()) fields.reserve(usual_fields);
    const auto at = std::ranges::lower_bound(fields, field_key{field, tag}, {}, &stored_field::key);
    return *fields.insert(at, stored_field{field, tag, std::move(value)});
}

CNMessageBase* CNMessageBase::Impl::child(short field, short tag, bool write, int class_group, int class_number,
                                          const message_child_type& type) {
    stored_field* entry = find_field(field, tag);
    if (entry == nullptr) {
        if (!write) return nullptr;
        std::unique_ptr<CNMessageBase> made(type.create(class_group, class_number));
        entry = &insert_field(field, tag, stored_child{std::move(made), &type});
    }
    stored_child* child = std::get_if<stored_child>(&entry->value);
    if (child == nullptr) fail("another kind of value", field, tag);
    if (child->message->class_group() != class_group || child->message->class_number() != class_number)
        fail("a child of another class", field, tag);
    // A caller that knows no class name may read any child; one that asks for a named class gets an object of it.
    if (child->type != &type && &type != &message_child_type_of<CNMessageBase>()) {
        std::unique_ptr<CNMessageBase> made(type.create(class_group, class_number));
        *made = std::move(*child->message);
        *child = stored_child{std::move(made), &type};
    }
    return child->message.get();
}

void* CNMessageBase::Impl::list(short field, short tag, bool write, const message_list_type& type) {
    stored_field* entry = find_field(field, tag);
    if (entry == nullptr) {
        if (!write) return nullptr;
        entry = &insert_field(field, tag, stored_list(type.create(), &type));
    }
    const stored_list& list = value_as<stored_list>(*entry);
    if (&list.type() != &type) fail("a list of another class", field, tag);
    return list.get();
}

CNMessageBase::CNMessageBase(int class_group, int class_number)
    : class_group_(class_group), class_number_(class_number) {}

CNMessageBase::CNMessageBase(const CNMessageBase& other)
    : class_group_(other.class_group_),
      class_number_(other.class_number_),
      impl_(other.impl_ ? std::make_unique<Impl>(*other.impl_) : nullptr) {}

CNMessageBase::CNMessageBase(CNMessageBase&& other) noexcept = default;

CNMessageBase& CNMessageBase::operator=(const CNMessageBase& other) {
    return *this = CNMessageBase(other);
}

CNMessageBase& CNMessageBase::operator=(CNMessageBase&& other) noexcept = default;

CNMessageBase::~CNMessageBase() = default;

CNMessageBase::Impl& CNMessageBase::storage() {
    if (!impl_) impl_ = std::make_unique<Impl>();
    return *impl_;
}

void CNMessageBase::setint64(short field, short, long long value) {
    auto& integers = storage().integers;
    if (integers.empty()) integers.reserve(usual_fields);
    const auto at = std::ranges::lower_bound(integers, field, {}, &stored_integer::field);
    if (at != integers.end() && at->field == field)
        at->value = value;
    else
        integers.insert(at, stored_integer{field, value});
}

long long CNMessageBase::getint64(short field) const {
    const stored_integer* integer = impl_ ? impl_->find_integer(field) : nullptr;
    return integer == nullptr ? 0 : integer->value;
}

void CNMessageBase::setstring(short field, short tag, const std::string& value) {
    stored_field* entry = storage().find_field(field, tag);
    if (entry == nullptr)
        impl_->insert_field(field, tag, std::make_unique<std::string>(value));
    else
        *value_as<stored_string>(*entry) = value;
}

std::string CNMessageBase::getstring(short field, short tag) const {
    return getstringByRef(field, tag);
}

const std::string& CNMessageBase::getstringByRef(short field, short tag) const {
    const stored_field* entry = impl_ ? std::as_const(*impl_).find_field(field, tag) : nullptr;
    return entry == nullptr ? empty_string : *value_as<stored_string>(*entry);
}

void CNMessageBase::setObjectAccessor(const void* message, short field, short tag) {
    auto copy = std::make_unique<CNMessageBase>(*static_cast<const CNMessageBase*>(message));
    stored_child child{std::move(copy), &message_child_type_of<CNMessageBase>()};
    stored_field* entry = storage().find_field(field, tag);
    if (entry == nullptr) {
        impl_->insert_field(field, tag, std::move(child));
        return;
    }
    if (!std::holds_alternative<stored_child>(entry->value)) fail("another kind of value", field, tag);
    entry->value = std::move(child);
}

message_list_handle<std::string> CNMessageBase::getliststring(short field, short tag, bool write) {
    auto* list = plain_list<stored_strings>(*this, field, tag, write);
    return list == nullptr ? message_list_handle<std::string>() : message_list_handle<std::string>(list);
}

message_list_handle<int> CNMessageBase::getlistint(short field, short tag, bool write) {
    auto* list = plain_list<stored_ints>(*this, field, tag, write);
    return list == nullptr ? message_list_handle<int>() : message_list_handle<int>(list);
}

bool CNMessageBase::isSet(short field) const {
    if (!impl_) return false;
    if (impl_->find_integer(field) != nullptr) return true;
    return std::ranges::any_of(impl_->fields, [field](const stored_field& entry) {
        return entry.field == field && holds_something(entry.value);
    });
}

CNMessageBase* CNMessageBase::object_slot(short field, short tag, bool write, int class_group, int class_number,
                                          const message_child_type& type) {
    if (!write && !impl_) return nullptr;
    return storage().child(field, tag, write, class_group, class_number, type);
}

void* CNMessageBase::list_slot(short field, short tag, bool write, const message_list_type& type) {
    if (!write && !impl_) return nullptr;
    return storage().list(field, tag, write, type);
}

std::string string_to_zystring(const std::string& text) {
    return text;
}

std::string string_from_zystring(const std::string& text) {
    return text;
}
