// Implementation of the line reader.
#include "server/line_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace index_server {

namespace {

constexpr std::size_t read_ahead_bytes = std::size_t{256} << 10;

[[noreturn]] void fail(const char* what, const std::string& path) {
    throw std::runtime_error(std::string(what) + " " + path + ": " + std::strerror(errno));
}

}  // namespace

line_reader::line_reader(const std::string& path, std::size_t max_line_bytes)
    : path_(path), max_line_bytes_(max_line_bytes), buffer_(max_line_bytes + read_ahead_bytes) {
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot open", path_);
}

line_reader::~line_reader() {
    ::close(descriptor_);
}

bool line_reader::fill() {
    if (begin_ > 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
    } while (count < 0 && errno == EINTR);
    if (count < 0) fail("cannot read", path_);
    end_ += static_cast<std::size_t>(count);
    return count > 0;
}

line_reader::result line_reader::next(std::string_view& line) {
    std::size_t searched = 0;
    for (;;) {
        const char* from = buffer_.data() + begin_ + searched;
        const auto* feed = static_cast<const char*>(std::memchr(from, '\n', end_ - begin_ - searched));
        const std::size_t length =
            feed != nullptr ? static_cast<std::size_t>(feed - buffer_.data()) - begin_ : end_ - begin_;
        if (length > max_line_bytes_) return result::too_long;
        if (feed != nullptr) {
            line = {buffer_.data() + begin_, length};
            begin_ += length + 1;
            return result::line;
        }
        searched = length;
        if (!fill()) return length == 0 ? result::end : result::incomplete;
    }
}

}  // namespace index_server
