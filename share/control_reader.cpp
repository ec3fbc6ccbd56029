// Lines with a bound out of a stream of any length.
#include "share/control_reader.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace share_host {

control_reader::outcome control_reader::next(std::string& line) {
    for (;;) {
        const std::size_t end = buffer_.find('\n', searched_);
        if (end != std::string::npos) {
            line.assign(buffer_, 0, end);
            buffer_.erase(0, end + 1);
            searched_ = 0;
            if (std::exchange(passing_over_, false)) continue;
            return line.size() > longest_ ? outcome::too_long : outcome::line;
        }
        searched_ = buffer_.size();
        if (passing_over_ || searched_ > longest_) {
            buffer_.clear();
            searched_ = 0;
            if (!std::exchange(passing_over_, true)) return outcome::too_long;
        }
        char block[16384];
        const ssize_t count = ::recv(fd_, block, sizeof block, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return outcome::closed;
        buffer_.append(block, static_cast<std::size_t>(count));
    }
}

}  // namespace share_host
