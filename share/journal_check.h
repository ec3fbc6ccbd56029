// Looks at journal files before a start: what replay would refuse needs a person first.
#pragma once

#include <string>
#include <vector>

namespace share_host {

struct journal_findings {
    std::vector<std::string> files;      ///< full names of the journal files, oldest first
    std::vector<std::string> cut_files;  ///< those whose last line has no line feed
    bool too_many() const { return files.size() > 2; }
};

/// `journal_dir` is the directory with the files; one that does not exist holds none. Throws std::system_error when it
/// or a file of it cannot be read.
journal_findings check_journals(const std::string& journal_dir);

/// One sentence on why a start would be refused, with the command that mends it; empty when nothing stands in the way.
std::string journal_refusal(const std::string& journal_dir);

}  // namespace share_host
