// One line of a journal file, taken apart for people: its tags with their values, and what is wrong with it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace iif {

/// A field of a line. Both texts point into the line.
struct journal_field {
    std::string_view tag;
    std::string_view value;
};

/// What a line says. `fault` is empty for a line that a start would read as it was written.
struct journal_line {
    std::vector<journal_field> fields;
    std::string fault;

    /// The value of the first field of that tag; empty when there is none.
    std::string_view value(std::string_view tag) const;
    /// "ADD", "UPD", "DEL" or "REN"; empty when the line has none of them.
    std::string_view operation() const;
};

/// Reads one line without its line feed. Never fails: what cannot be understood is in `fault`.
journal_line parse_journal_line(std::string_view text);

/// True for the tags whose value is a decimal number.
bool is_number_tag(std::string_view tag);

}  // namespace iif
