// Ownership of the HTTP library's handles, and the pool that keeps them with their connections between exchanges.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace hostkit {

struct curl_closer {
    void operator()(void* handle) const noexcept;
};

/// One handle of the HTTP library with its connections; used by one thread at a time.
using curl_handle = std::unique_ptr<void, curl_closer>;

/// Keeps handles that are not in use. Any thread; no call blocks on the network.
class curl_pool {
public:
    /// `most_idle` is the number of handles kept; more than that are destroyed as they come back.
    explicit curl_pool(std::size_t most_idle) : most_idle_(most_idle) {}

    /// The handle used last, whose connection is the likeliest to live, or a new one; null when none can be had.
    curl_handle take();

    /// Takes a handle back. One whose exchange failed is destroyed with its connection.
    void give_back(curl_handle handle, bool failed);

private:
    const std::size_t most_idle_;
    std::mutex lock_;  // guards idle_; handles are made and destroyed outside it
    std::vector<curl_handle> idle_;
};

}  // namespace hostkit
