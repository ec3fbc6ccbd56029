// Reading and writing of plain members that one thread polls while another writes them. A stale value only delays what
// the poll waits for; the acquire and release order publishes what was written before the flag.
#pragma once

#include <atomic>

template <class T>
T read_polled(const T& flag) noexcept {
    return std::atomic_ref<T>(const_cast<T&>(flag)).load(std::memory_order_acquire);
}

template <class T>
void write_polled(T& flag, T value) noexcept {
    std::atomic_ref<T>(flag).store(value, std::memory_order_release);
}
