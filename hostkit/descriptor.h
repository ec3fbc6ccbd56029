// Sole ownership of a file descriptor, for the file services.
#pragma once

#include <unistd.h>

#include <utility>

namespace hostkit {

/// Closes its descriptor at the end of its life, unless that was taken out.
class descriptor {
public:
    explicit descriptor(int number) noexcept : number_(number) {}
    ~descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;

    int get() const noexcept { return number_; }
    bool is_open() const noexcept { return number_ >= 0; }
    /// Hands the descriptor over to the caller.
    int take() noexcept { return std::exchange(number_, -1); }

private:
    int number_;
};

}  // namespace hostkit
