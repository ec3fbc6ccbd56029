// Tables on standard output.
#include "iif/text_table.h"

#include <algorithm>
#include <cstdio>

namespace iif {
namespace {

/// Code points of valid UTF-8, which is what cells hold.
std::size_t width_of(const std::string& cell) {
    return static_cast<std::size_t>(
        std::count_if(cell.begin(), cell.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

void text_table::print() const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const auto& row : rows_)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], width_of(row[column]));
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column)
            line += row[column] + std::string(widths[column] - width_of(row[column]) + 2, ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%s\n", line.c_str());
    }
}

}  // namespace iif
