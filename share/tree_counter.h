// Counts the names of a tree beside the first walk, which is many times slower, so that its progress can be told.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

namespace share_host {

class tree_counter {
public:
    /// Counts the tree below `root_fd`, the root included, on a thread of its own. The descriptor has to stay open.
    explicit tree_counter(int root_fd);

    /// 0 until the count is complete. Any thread.
    std::uint64_t total() const { return total_; }

private:
    void count(int root_fd, const std::stop_token& stop);

    std::atomic<std::uint64_t> total_ = 0;
    std::jthread thread_;  // the last member: it ends before the others go
};

}  // namespace share_host
