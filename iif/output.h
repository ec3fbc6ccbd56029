// What the program prints: objects in three forms, and the progress of a pass.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/records.h"

namespace iif {

/// How objects are printed.
enum class output_form {
    plain,  ///< names as the file system has them; on a terminal with control bytes made visible
    wide,   ///< with mode, owner, size and time in front
    json,   ///< one JSON object a line, always valid UTF-8: names stay percent-encoded, as the index holds them
};

/// The form that the command line asks for.
output_form chosen_form(bool json, bool wide);

/// True when the descriptor is a terminal.
bool is_terminal(int fd);

/// The text with control bytes, backslashes and what is not UTF-8 written as \xHH: no file name can move the cursor.
std::string printable(std::string_view raw);

/// The line for one object, without a line feed. `label` is what plain and wide forms call it, encoded like the path;
/// `for_terminal` makes them printable.
std::string object_line(const index_iface_props& props, std::string_view label, output_form form, bool for_terminal);

/// The line for one extent of a file, without a line feed: its number and size, in the wide form also type, version
/// time and version.
std::string extent_line(const index_iface_props& props, output_form form);

/// "1.5 MiB"
std::string size_text(std::uint64_t bytes);
/// "1 object", "2 objects"; for the plain English plural.
std::string count_text(std::uint64_t count, std::string_view noun);

/// Tells on stderr how far a pass is: on a terminal one line that is rewritten a few times a second, otherwise a line
/// every few seconds. One thread.
class progress_line {
public:
    progress_line();
    /// Clears the terminal line.
    ~progress_line();
    progress_line(const progress_line&) = delete;
    progress_line& operator=(const progress_line&) = delete;

    /// `expected` is about how many objects there will be, nothing when no one knows.
    void show(std::uint64_t objects, std::uint64_t changes, std::optional<std::uint64_t> expected);

private:
    using clock = std::chrono::steady_clock;
    const bool terminal_;
    const clock::time_point begin_;
    clock::time_point last_;
    bool drawn_ = false;
};

}  // namespace iif
