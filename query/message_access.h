// Reading and writing of message fields by their names. Every string that goes in is converted for the message.
#pragma once

#include <string>

#include "host/message_classes.h"
#include "host/message_fields.h"

inline void set_number(CNMessageBase& message, message_fields::field field, long long value) {
    message.setint64(field.number, field.tag, value);
}

inline void set_text(CNMessageBase& message, message_fields::field field, const std::string& value) {
    message.setstring(field.number, field.tag, string_to_zystring(value));
}

inline const std::string& text_of(const CNMessageBase& message, message_fields::field field) {
    return message.getstringByRef(field.number, field.tag);
}

/// The child, made when it is absent.
template <class T = CNMessageBase>
message_object_handle<T> child_to_write(CNMessageBase& message, message_fields::child_field field) {
    return message.getObjectAccessor<T>(true, true, field.number, field.tag, field.class_group, field.class_number);
}

/// The child, an empty one when it is absent.
inline message_object_handle<CNMessageBase> child_to_read(CNMessageBase& message, message_fields::child_field field) {
    return message.getObjectAccessor(true, false, field.number, field.tag, field.class_group, field.class_number);
}

template <class T>
message_list_handle<T> list_to_write(CNMessageBase& message, message_fields::field field) {
    return message.getlistobject<T>(field.number, field.tag, true);
}

/// The list, an empty one when it is absent.
template <class T>
message_list_handle<T> list_to_read(CNMessageBase& message, message_fields::field field) {
    return message.getlistobject<T>(field.number, field.tag, false);
}
