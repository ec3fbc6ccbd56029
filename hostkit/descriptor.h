// Sole ownership of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace hostkit {

/// Closes its descriptor at the end of its life, unless that was taken out. Empty when it holds none, a negative number
/// included, so that it takes what an open returned as it is.
class descriptor {
public:
    descriptor() noexcept = default;
    explicit descriptor(int number) noexcept : number_(number) {}
    ~descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    descriptor(descriptor&& other) noexcept : number_(other.take()) {}
    descriptor& operator=(descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    int get() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }
    /// Hands the descriptor over to the caller.
    int take() noexcept { return std::exchange(number_, -1); }

private:
    int number_ = -1;
};

}  // namespace hostkit
