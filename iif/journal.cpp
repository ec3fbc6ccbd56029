// iif journal list | cat | check | repair: the operators' tool for journal files, without a running host.
#include <unistd.h>

#include <boost/json.hpp>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string>

#include "iif/commands.h"
#include "iif/journal_files.h"
#include "iif/journal_line.h"
#include "iif/output.h"
#include "share/encoding.h"
#include "share/state_dir.h"

namespace iif {
namespace {

namespace json = boost::json;
namespace fs = std::filesystem;

// A directory with more files than a rotation leaves is refused by the start.
constexpr std::size_t most_files = 2;

std::string shown(const fs::path& path) {
    return is_terminal(STDOUT_FILENO) ? printable(path.native()) : path.native();
}

std::string state_text(const journal_report& report) {
    if (report.cut_bytes > 0) return "last line incomplete";
    if (report.fault_count > 0) return "damaged";
    return report.lines == 0 ? "empty" : "whole";
}

json::value json_value(const journal_field& field) {
    if (is_number_tag(field.tag)) {
        long long number = 0;
        const auto [end, error] = std::from_chars(field.value.data(), field.value.data() + field.value.size(), number);
        if (error == std::errc() && end == field.value.data() + field.value.size()) return number;
    }
    return json::string(share_host::to_valid_utf8(field.value));
}

void print_json(const raw_line& raw, const journal_line& line) {
    json::object object{{"line", raw.number}};
    if (!line.operation().empty()) object["operation"] = line.operation();
    json::object& fields = object["fields"].emplace_object();
    json::object custom;
    for (const journal_field& field : line.fields) {
        if (field.tag == line.operation() || field.tag == "SHOW") continue;
        if (const std::size_t colon = field.value.find(':'); field.tag == "CPRP" && colon != std::string_view::npos)
            custom[share_host::to_valid_utf8(field.value.substr(0, colon))] =
                share_host::to_valid_utf8(field.value.substr(colon + 1));
        else
            fields[printable(field.tag)] = json_value(field);
    }
    if (!custom.empty()) fields["CPRP"] = std::move(custom);
    if (!line.fault.empty()) object["fault"] = line.fault;
    std::printf("%s\n", json::serialize(object).c_str());
}

void print_plain(const raw_line& raw, const journal_line& line) {
    std::string text = std::to_string(raw.number) + " ";
    if (!line.fault.empty()) text += "[damaged: " + printable(line.fault) + "] ";
    text += line.operation();
    text += " " + printable(share_host::decode_text(line.value("ERP")));
    for (const journal_field& field : line.fields) {
        if (field.tag == line.operation() || field.tag == "SHOW" || field.tag == "ERP") continue;
        text += "  " + printable(field.tag) + "=" + printable(share_host::decode_text(field.value));
    }
    std::printf("%s\n", text.c_str());
}

// The lock of the state that a journal directory belongs to, so that no host writes while a file is mended; nothing for
// a directory that lies elsewhere.
std::unique_ptr<share_host::state_lock> lock_state_of(const fs::path& journal_directory) {
    fs::path path = fs::absolute(journal_directory);
    // <state>/journal/<share>
    for (int level = 0; level < 3; ++level, path = path.parent_path())
        if (const auto state = share_host::state_at(path)) return std::make_unique<share_host::state_lock>(*state);
    return nullptr;
}

std::uint64_t print_faults(const fs::path& file) {
    const journal_report report = inspect_journal(file);
    for (const std::string& fault : report.faults)
        std::printf("%s: %s\n", shown(file).c_str(), printable(fault).c_str());
    if (report.fault_count > report.faults.size())
        std::printf("%s: %s\n", shown(file).c_str(),
                    count_text(report.fault_count - report.faults.size(), "further fault").c_str());
    if (report.fault_count == 0)
        std::printf("%s: %s, no fault\n", shown(file).c_str(), count_text(report.lines, "line").c_str());
    return report.fault_count;
}

}  // namespace

exit_code run_journal_list(const journal_options& options) {
    for (const journal_directory& directory : find_journals(options.directory))
        for (const fs::path& file : directory.files) {
            const journal_report report = inspect_journal(file);
            std::printf("%12llu bytes %10llu lines  %-20s  %s\n", static_cast<unsigned long long>(report.size_bytes),
                        static_cast<unsigned long long>(report.lines), state_text(report).c_str(), shown(file).c_str());
        }
    return exit_code::done;
}

exit_code run_journal_cat(const journal_options& options) {
    for (const journal_directory& directory : find_journals(options.directory))
        for (const fs::path& file : directory.files)
            for_each_line(file, [&](const raw_line& raw) {
                if (raw.text.empty()) return;
                journal_line line = parse_journal_line(raw.text);
                if (!raw.complete) line.fault = "the last line is incomplete";
                options.json ? print_json(raw, line) : print_plain(raw, line);
            });
    return exit_code::done;
}

exit_code run_journal_check(const journal_options& options) {
    std::uint64_t faults = 0;
    for (const journal_directory& directory : find_journals(options.directory)) {
        if (directory.files.size() > most_files) {
            ++faults;
            std::printf("%s: %zu journal files, a start takes at most %zu\n", shown(directory.path).c_str(),
                        directory.files.size(), most_files);
        }
        for (const fs::path& file : directory.files)
            faults += print_faults(file);
    }
    return faults == 0 ? exit_code::done : exit_code::refused;
}

exit_code run_journal_repair(const journal_options& options) {
    const std::vector<journal_directory> found = find_journals(options.directory);
    std::uint64_t others = 0;
    for (const journal_directory& directory : found) {
        const auto lock = lock_state_of(directory.path);
        for (const fs::path& file : directory.files) {
            const journal_repair repair = repair_journal(file);
            if (repair.cut_bytes > 0)
                std::printf("%s: cut an incomplete last line of %llu bytes; the file as it was is %s\n",
                            shown(file).c_str(), static_cast<unsigned long long>(repair.cut_bytes),
                            shown(repair.copy).c_str());
            others += print_faults(file);
        }
    }
    if (others > 0) std::fprintf(stderr, "iif: What is left needs a person: look at it with iif journal cat.\n");
    return others == 0 ? exit_code::done : exit_code::refused;
}

}  // namespace iif
