// The message object model: every conversation with the management server and the index server is a tree of
// messages. A class is named by a pair of ints, a field by a pair of 16-bit numbers. Integers are held by field number
// alone, everything else by the whole pair. Values are deep: a copy of a message is a copy of all that it holds.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/visibility.h"

class CNMessageBase;

/// How the storage handles a list of one element class without knowing it. One object per class, compared by address.
struct message_list_type {
    void* (*create)();
    void (*destroy)(void* list);
    void* (*copy)(const void* list);
    std::size_t (*size)(const void* list);
    const CNMessageBase* (*at)(const void* list, std::size_t index);
    CNMessageBase* (*append)(void* list);
};

/// How the storage makes and copies a child of one class.
struct message_child_type {
    CNMessageBase* (*create)(int class_group, int class_number);
    CNMessageBase* (*copy)(const CNMessageBase& message);
};

/// A way to a child message. Dereferencing yields the child; when it was absent and asked for reading, an empty one
/// that lives as long as the handle. Valid while the parent lives and the field is not set anew.
template <class T>
class message_object_handle {
public:
    explicit message_object_handle(T* child) : child_(child) {}
    explicit message_object_handle(std::unique_ptr<T> empty) : empty_(std::move(empty)), child_(empty_.get()) {}
    T& operator*() const { return *child_; }
    T* operator->() const { return child_; }

private:
    std::unique_ptr<T> empty_;
    T* child_;
};

/// A way to a list. Dereferencing yields the list, which lives as long as its message; an absent one that was asked for
/// reading is an empty list of the calling thread, the same for all.
template <class T>
class message_list_handle {
public:
    explicit message_list_handle(std::vector<T>* list) : list_(list) {}
    message_list_handle() : list_(&none()) {}
    std::vector<T>& operator*() const { return *list_; }
    std::vector<T>* operator->() const { return list_; }

private:
    static std::vector<T>& none() {
        static thread_local std::vector<T> empty;
        empty.clear();
        return empty;
    }
    std::vector<T>* list_;
};

// Visible everywhere, so that one class has one type object across shared objects.
template <class T>
IIF_HOST_API const message_list_type& message_list_type_of();
template <class T>
IIF_HOST_API const message_child_type& message_child_type_of();

/// Base of all messages. Operations may throw std::bad_alloc and, when a field is used as two kinds or a child as two
/// classes, std::logic_error. One message belongs to one thread at a time.
class IIF_HOST_API CNMessageBase {
public:
    CNMessageBase(int class_group, int class_number);
    CNMessageBase(const CNMessageBase& other);
    CNMessageBase(CNMessageBase&& other) noexcept;
    CNMessageBase& operator=(const CNMessageBase& other);
    CNMessageBase& operator=(CNMessageBase&& other) noexcept;
    virtual ~CNMessageBase();

    int class_group() const noexcept { return class_group_; }
    int class_number() const noexcept { return class_number_; }

    void setint64(short field, short tag, long long value);
    /// The integer in `field`; 0 when absent.
    long long getint64(short field) const;

    void setstring(short field, short tag, const std::string& value);
    /// The string; empty when absent.
    std::string getstring(short field, short tag) const;
    /// The same by reference, valid while the message lives and the field is not set anew.
    const std::string& getstringByRef(short field, short tag) const;

    /// A handle to the child at the pair, whose class pair is given. With `write` an absent child is made. The first
    /// bool is always true.
    template <class T = CNMessageBase>
    message_object_handle<T> getObjectAccessor(bool, bool write, short field, short tag, int class_group,
                                               int class_number) {
        CNMessageBase* child = object_slot(field, tag, write, class_group, class_number, message_child_type_of<T>());
        if (child == nullptr) {
            return message_object_handle<T>(
                std::unique_ptr<T>(static_cast<T*>(message_child_type_of<T>().create(class_group, class_number))));
        }
        return message_object_handle<T>(static_cast<T*>(child));
    }

    /// Stores a copy of the given message, which is a CNMessageBase, as a child.
    void setObjectAccessor(const void* message, short field, short tag);

    /// A handle to the list of objects at the pair. With `write` an absent list is made.
    template <class T>
    message_list_handle<T> getlistobject(short field, short tag, bool write) {
        void* list = list_slot(field, tag, write, message_list_type_of<T>());
        return list == nullptr ? message_list_handle<T>() : message_list_handle<T>(static_cast<std::vector<T>*>(list));
    }
    message_list_handle<std::string> getliststring(short field, short tag, bool write);
    message_list_handle<int> getlistint(short field, short tag, bool write);

    /// True when a field of this number holds a value.
    bool isSet(short field) const;

    /// Writes the message as text; the text form is the implementation's. `flag` is false.
    void serialize(std::string& text, bool flag) const;

    /// Parses text into this message. 0 on success; otherwise the message may hold a part of what was read.
    int unserialize(std::string& text);

    /// What the message holds, for the reader and the writer of the text form. Null when it holds nothing; `storage`
    /// makes it.
    struct Impl;
    const Impl* impl() const noexcept { return impl_.get(); }
    Impl& storage();

private:
    CNMessageBase* object_slot(short field, short tag, bool write, int class_group, int class_number,
                               const message_child_type& type);
    void* list_slot(short field, short tag, bool write, const message_list_type& type);

    int class_group_;
    int class_number_;
    std::unique_ptr<Impl> impl_;
};

/// Converts a string of the library into one that a message takes, and back. Both are plain copies.
IIF_HOST_API std::string string_to_zystring(const std::string& text);
IIF_HOST_API std::string string_from_zystring(const std::string& text);

template <class T>
const message_list_type& message_list_type_of() {
    using list = std::vector<T>;
    static const message_list_type type{
        [] { return static_cast<void*>(new list); },
        [](void* l) { delete static_cast<list*>(l); },
        [](const void* l) { return static_cast<void*>(new list(*static_cast<const list*>(l))); },
        [](const void* l) { return static_cast<const list*>(l)->size(); },
        [](const void* l, std::size_t i) {
            return static_cast<const CNMessageBase*>(&(*static_cast<const list*>(l))[i]);
        },
        [](void* l) { return static_cast<CNMessageBase*>(&static_cast<list*>(l)->emplace_back()); }};
    return type;
}

template <class T>
const message_child_type& message_child_type_of() {
    static const message_child_type type{
        [](int group, int number) {
            if constexpr (std::is_same_v<T, CNMessageBase>)
                return static_cast<CNMessageBase*>(new CNMessageBase(group, number));
            else
                return static_cast<CNMessageBase*>(new T);
        },
        [](const CNMessageBase& m) { return static_cast<CNMessageBase*>(new T(static_cast<const T&>(m))); }};
    return type;
}
