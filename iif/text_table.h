// Tables on standard output: columns as wide as their widest cell.
#pragma once

#include <string>
#include <vector>

namespace iif {

class text_table {
public:
    explicit text_table(std::vector<std::string> titles) : rows_{std::move(titles)} {}

    /// As many cells as there are titles. Control bytes are to be made visible before.
    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

    /// Prints the titles and all rows.
    void print() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace iif
