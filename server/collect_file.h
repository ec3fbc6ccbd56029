// Reads a collect file in parts of bounded size. All lines about one object, and about the extents of one file, are in
// the same part, in their order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "server/collect_line.h"
#include "server/text_arena.h"

namespace index_server {

struct numbered_line {
    std::int64_t number = 0;  ///< of its place in the file, from 1
    collect_line fields;
};

/// The object that a line is about: for an extent its file.
std::string_view owner_of(const collect_line& line);

/// Used by one thread.
class collect_file {
public:
    /// Reads and checks all lines. A part holds about `part_bytes` of the file. Throws std::runtime_error when the file
    /// cannot be read, here and in `part`.
    collect_file(const std::string& path, std::uint64_t part_bytes);

    /// Lines read: all, or those up to the first that cannot be understood.
    std::int64_t lines() const { return lines_; }
    /// Why the last line read cannot be understood; empty when all can.
    const std::string& error() const { return error_; }

    std::size_t parts() const { return parts_; }
    /// The lines of one part, valid until the next is asked for. Only without an error.
    const std::deque<numbered_line>& part(std::size_t which);

private:
    template <class Take>
    void read(const Take& take);
    std::string keep(std::string_view text, std::int64_t number);

    const std::string path_;
    std::size_t parts_ = 1;
    std::int64_t lines_ = 0;
    std::string error_;
    /// The part of each line, where there is more than one.
    std::vector<std::uint16_t> part_of_line_;
    text_arena texts_;
    std::deque<numbered_line> kept_;
};

}  // namespace index_server
