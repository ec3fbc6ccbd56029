// Reads a file line by line through one buffer, however large the file is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace index_server {

/// Used by one thread. Keeps at most two lines' worth of the file in memory.
class line_reader {
public:
    enum class result { line, end, too_long, incomplete };

    /// Opens the file. Throws std::runtime_error when that fails, here and in `next`.
    line_reader(const std::string& path, std::size_t max_line_bytes);
    ~line_reader();
    line_reader(const line_reader&) = delete;
    line_reader& operator=(const line_reader&) = delete;

    /// Gives the next line without its line feed, valid until the next call. `incomplete` says that the file ends
    /// without a line feed; after anything but `line` nothing more can be read.
    result next(std::string_view& line);

private:
    bool fill();

    std::string path_;
    int descriptor_ = -1;
    std::size_t max_line_bytes_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;  ///< the bytes not yet given out are [begin_, end_)
    std::size_t end_ = 0;
};

}  // namespace index_server
