// The lines of a control connection.
#pragma once

#include <cstddef>
#include <string>

namespace share_host {

/// Takes whole lines out of what arrives on a socket. One thread.
class control_reader {
public:
    /// Borrows the descriptor. Lines may have `longest` bytes without their line feed.
    control_reader(int fd, std::size_t longest) : fd_(fd), longest_(longest) {}

    enum class outcome { line, too_long, closed };

    /// Waits for the next line, which comes without its line feed. A line is too long as soon as it is; its rest is
    /// passed over. What has no line feed when the connection is closed is no line.
    outcome next(std::string& line);

private:
    const int fd_;
    const std::size_t longest_;
    bool passing_over_ = false;
    std::string buffer_;
    std::size_t searched_ = 0;  ///< bytes of the buffer that hold no line feed
};

}  // namespace share_host
