// Allocation whose failure is an empty pointer, for objects whose own constructor may throw as well.
#pragma once

#include <new>
#include <utility>

template <class T, class... Arguments>
T* make_or_null(Arguments&&... arguments) noexcept {
    try {
        return new (std::nothrow) T(std::forward<Arguments>(arguments)...);
    } catch (...) {
        return nullptr;
    }
}

/// Deletes and clears a pointer member.
template <class T>
void delete_and_clear(T*& pointer) noexcept {
    delete pointer;
    pointer = nullptr;
}
