// The journal files of a state directory: where they are, their lines, and the repair of a cut last line. Offline:
// nothing here needs a running host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace iif {

/// The journal files of one directory, in the order in which they were made.
struct journal_directory {
    std::filesystem::path path;
    std::vector<std::filesystem::path> files;
};

/// Looks in `directory` and below it; symbolic links and kept copies (directories named "….bkp") are passed over.
/// Throws program_error when `directory` cannot be read or holds no journal file.
std::vector<journal_directory> find_journals(const std::filesystem::path& directory);

/// One line as it stands in the file.
struct raw_line {
    std::string_view text;     ///< without the line feed; valid during the call alone
    std::uint64_t number = 0;  ///< from 1
    bool complete = false;     ///< a line feed ends it
    bool too_long = false;     ///< longer than longest_line; `text` is its beginning
};

constexpr std::size_t longest_line = std::size_t{16} << 20;

/// Calls `visit` for each line of the file, empty ones too. Throws program_error when it cannot be read.
void for_each_line(const std::filesystem::path& file, const std::function<void(const raw_line&)>& visit);

/// What there is to say about one file.
struct journal_report {
    std::uint64_t size_bytes = 0;
    std::uint64_t lines = 0;          ///< complete lines that are not empty
    std::uint64_t cut_bytes = 0;      ///< length of an incomplete last line
    std::vector<std::string> faults;  ///< the first few faults with their line, the cut line among them
    std::uint64_t fault_count = 0;
};

journal_report inspect_journal(const std::filesystem::path& file);

/// What a repair did to a file.
struct journal_repair {
    std::uint64_t cut_bytes = 0;  ///< 0: the file ended in a complete line and was left alone
    std::filesystem::path copy;   ///< the file as it was; empty when nothing was cut
};

/// Cuts an incomplete last line, after a whole copy of the file was written and synced beside it under a name that no
/// start takes for a journal. Throws program_error when any of this fails; the file is then as it was.
journal_repair repair_journal(const std::filesystem::path& file);

}  // namespace iif
