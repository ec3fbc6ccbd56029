// The classes and fields of every message: how the numbers that programs use are called in the text form. One table,
// which the reader and the writer of the text form follow and docs/wire-format.md repeats for people.
#pragma once

#include <span>
#include <string_view>

#include "host/messages.h"

namespace hostkit {

enum class field_kind { integer, string, child, object_list, string_list, int_list };

struct message_class;

/// One field at its place in the tree. The same class can name its fields differently in two places, so a field leads
/// to the description of its child and not to a class pair.
struct message_field {
    short field;
    short tag;
    field_kind kind;
    std::string_view name;
    const message_class* content;               ///< class of a child or of the elements of a list of objects, or null
    const message_child_type& (*child_type)();  ///< how a child is made, or null
    const message_list_type& (*list_type)();    ///< how a list of objects is made, or null
};

/// One class: its name without the namespace, its pair and its fields.
struct message_class {
    std::string_view name;
    int group;
    int number;
    std::span<const message_field> fields;
};

/// All classes. A pair that has different names in different places occurs once for each; the first one counts when
/// such a message stands alone.
std::span<const message_class* const> message_classes();

/// The class of a pair, or null.
const message_class* find_message_class(int group, int number);

}  // namespace hostkit
