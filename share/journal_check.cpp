// The rules are those of the library's replay: a journal file is any whose name begins with the prefix, at most two may
// exist, and a file that is not empty has to end with a line feed.
#include "share/journal_check.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace share_host {
namespace {

constexpr std::string_view journal_prefix = "collect_file_";

bool has_cut_last_line(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) throw std::system_error(errno, std::generic_category(), "cannot read " + path);
    if (file.tellg() == 0) return false;
    file.seekg(-1, std::ios::end);
    return file.get() != '\n';
}

}  // namespace

journal_findings check_journals(const std::string& journal_dir) {
    journal_findings findings;
    std::error_code error;
    std::filesystem::directory_iterator entries(journal_dir, error);
    if (error == std::errc::no_such_file_or_directory) return findings;
    if (error) throw std::system_error(error, "cannot read " + journal_dir);
    for (const auto& entry : entries) {
        if (entry.path().filename().native().starts_with(journal_prefix)) findings.files.push_back(entry.path());
    }
    std::sort(findings.files.begin(), findings.files.end());
    for (const std::string& file : findings.files) {
        if (has_cut_last_line(file)) findings.cut_files.push_back(file);
    }
    return findings;
}

std::string journal_refusal(const std::string& journal_dir) {
    const journal_findings findings = check_journals(journal_dir);
    if (findings.too_many()) {
        return journal_dir + " holds " + std::to_string(findings.files.size()) +
               " journal files where at most two can be replayed; run: iif journal check " + journal_dir;
    }
    if (!findings.cut_files.empty()) {
        return "the last line of the journal " + findings.cut_files.front() +
               " is cut, which a crash can do; run: iif journal repair " + journal_dir;
    }
    return {};
}

}  // namespace share_host
