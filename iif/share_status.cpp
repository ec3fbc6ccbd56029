// How a share is doing.
#include "iif/share_status.h"

#include <boost/json.hpp>
#include <charconv>
#include <filesystem>
#include <fstream>

#include "iif/host_client.h"
#include "iif/output.h"

namespace iif {
namespace {

namespace json = boost::json;
namespace fs = std::filesystem;

// After more failures than these in a row changes are refused.
constexpr std::uint64_t failures_before_refusal = 5;

std::uint64_t number_in(std::string_view text) {
    const std::size_t begin = text.find_first_of("0123456789");
    std::uint64_t number = 0;
    if (begin != text.npos) std::from_chars(text.data() + begin, text.data() + text.size(), number);
    return number;
}

void count_journal(const fs::path& file, share_status& status) {
    std::ifstream journal(file, std::ios::binary);
    if (!journal) return;  // delivered and gone meanwhile
    ++status.journal_files;
    char block[65536];
    while (journal.read(block, sizeof block), journal.gcount() > 0) {
        const std::string_view bytes(block, static_cast<std::size_t>(journal.gcount()));
        status.waiting_bytes += bytes.size();
        for (const char byte : bytes)
            status.waiting_changes += byte == '\n' ? 1 : 0;
    }
}

void count_journals(const share_host::state_dir& state, share_status& status) {
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator(state.journal_dir(), gone))
        if (entry.path().filename().native().starts_with("collect_file_")) count_journal(entry.path(), status);
}

std::string text_of(host_client& host, const char* op) {
    const json::object answer = host.ask(op);
    const json::value* text = answer.if_contains("text");
    return text && text->is_string() ? std::string(text->get_string()) : std::string("ended");
}

void ask_host(host_client& host, share_status& status) {
    status.running = true;
    status.flushing = text_of(host, "get_flush_status_msg");
    status.queries = text_of(host, "get_query_status_msg");
    const json::object answer = host.ask("get_counters");
    const json::value* counters = answer.if_contains("counters");
    if (!counters || !counters->is_object()) return;
    for (const auto& [name, value] : counters->get_object())
        if (value.is_string()) status.counters[name] = number_in(value.get_string());
}

}  // namespace

std::uint64_t share_status::counter(const std::string& name) const {
    const auto found = counters.find("index." + name);
    return found == counters.end() ? 0 : found->second;
}

std::string share_status::pressure() const {
    if (flushing.starts_with("failed") && number_in(flushing) > failures_before_refusal)
        return "changes are refused until a delivery succeeds";
    const std::uint64_t slowed_ms = counter("delay_ms");
    return slowed_ms == 0 ? "none" : "changes were slowed by " + std::to_string(slowed_ms) + " ms so far";
}

share_status look_at(const share_host::state_dir& state) {
    share_status status;
    status.share = state.share_name;
    status.directory = share_host::served_directory(state);
    if (const auto host = host_client::connect(state)) ask_host(*host, status);
    count_journals(state, status);
    return status;
}

std::string status_text(const share_status& status) {
    std::string text = "share      " + status.share + "\n";
    if (!status.directory.empty()) text += "directory  " + printable(status.directory) + "\n";
    text += std::string("host       ") + (status.running ? "running" : "not running") + "\n";
    text += "backlog    " + count_text(status.waiting_changes, "change") + ", " + size_text(status.waiting_bytes) +
            " in " + count_text(status.journal_files, "journal file") + "\n";
    if (!status.running) return text;
    text += "flushing   " + printable(status.flushing) + "\n" + "queries    " + printable(status.queries) + "\n" +
            "pressure   " + status.pressure() + "\n";
    const auto count = [&](const char* name) { return std::to_string(status.counter(name)); };
    text += "changes    " + count("adds") + " added, " + count("updates") + " updated, " + count("deletes") +
            " deleted, " + count("renames") + " renamed\n";
    text += "asked      " + count("finds") + " finds, " + count("browse_children") + " listings, " +
            count("browse_extents") + " extent listings\n";
    return text + "delivered  " + count("flush_successes") + " batches, " + count("flush_fails") + " failed attempts\n";
}

std::string status_json(const share_status& status) {
    json::object line{{"share", status.share},
                      {"directory", printable(status.directory)},
                      {"running", status.running},
                      {"backlog",
                       {{"changes", status.waiting_changes},
                        {"bytes", status.waiting_bytes},
                        {"journal_files", status.journal_files}}}};
    if (status.running) {
        line["flushing"] = status.flushing;
        line["queries"] = status.queries;
        line["pressure"] = status.pressure();
        line["counters"] = json::value_from(status.counters);
    }
    return json::serialize(line);
}

}  // namespace iif
