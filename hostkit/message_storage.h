// How a message holds its fields: two vectors sorted by number, since a message has few fields and a page of results
// has many messages. Seen by the message class and by the reader and writer of the text form, by nobody else.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/messages.h"

namespace hostkit {

/// A child together with the type it was made as, which decides how it is copied.
struct stored_child {
    std::unique_ptr<CNMessageBase> message;
    const message_child_type* type;
};

/// A list of objects whose element class only `type` knows. Owns the list.
class stored_list {
public:
    stored_list(void* list, const message_list_type* type) noexcept : list_(list), type_(type) {}
    stored_list(stored_list&& other) noexcept : list_(std::exchange(other.list_, nullptr)), type_(other.type_) {}
    stored_list& operator=(stored_list&& other) noexcept {
        std::swap(list_, other.list_);
        std::swap(type_, other.type_);
        return *this;
    }
    ~stored_list() {
        if (list_ != nullptr) type_->destroy(list_);
    }

    void* get() const noexcept { return list_; }
    const message_list_type& type() const noexcept { return *type_; }
    std::size_t size() const { return type_->size(list_); }

private:
    void* list_;
    const message_list_type* type_;
};

using stored_string = std::unique_ptr<std::string>;
using stored_strings = std::unique_ptr<std::vector<std::string>>;
using stored_ints = std::unique_ptr<std::vector<int>>;

/// What stands in a field that is no integer. Everything is held through a pointer, because references and handles to
/// one field must stay good while another one is set.
using stored_value = std::variant<stored_string, stored_child, stored_list, stored_strings, stored_ints>;

struct stored_integer {
    short field;
    long long value;
};

struct stored_field {
    short field;
    short tag;
    stored_value value;

    std::pair<short, short> key() const noexcept { return {field, tag}; }
};

}  // namespace hostkit

/// `integers` is sorted by field number, `fields` by the pair; neither holds one twice.
struct CNMessageBase::Impl {
    std::vector<hostkit::stored_integer> integers;
    std::vector<hostkit::stored_field> fields;

    Impl() = default;
    Impl(const Impl& other);

    /// The integer with that number, or null.
    const hostkit::stored_integer* find_integer(short field) const noexcept;
    /// The field of that pair, or null.
    const hostkit::stored_field* find_field(short field, short tag) const noexcept;
    hostkit::stored_field* find_field(short field, short tag) noexcept {
        return const_cast<hostkit::stored_field*>(std::as_const(*this).find_field(field, tag));
    }
    /// Puts a field where none of that pair is.
    hostkit::stored_field& insert_field(short field, short tag, hostkit::stored_value value);

    /// The child at the pair, made when it is absent and `write` says so, otherwise null. One that was stored as a
    /// plain message is made over in the class that `type` stands for.
    CNMessageBase* child(short field, short tag, bool write, int class_group, int class_number,
                         const message_child_type& type);
    /// The list at the pair, made when it is absent and `write` says so, otherwise null.
    void* list(short field, short tag, bool write, const message_list_type& type);
};
