// iif admin: transactions, backup ids, purge, check and backup of an index server.
#include <boost/json.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "iif/admin_client.h"
#include "iif/output.h"
#include "iif/stack.h"
#include "iif/text_table.h"
#include "iif/time_text.h"

namespace iif {
namespace {

namespace json = boost::json;

std::int64_t now_s() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string age_text(std::int64_t seconds) {
    if (seconds < 120) return std::to_string(seconds) + " s";
    if (seconds < 7200) return std::to_string(seconds / 60) + " min";
    if (seconds < 172800) return std::to_string(seconds / 3600) + " h";
    return std::to_string(seconds / 86400) + " d";
}

std::int64_t moment(const std::string& text, const char* option) {
    if (const auto seconds = parse_time(text, now_s())) return *seconds;
    throw program_error(exit_code::usage, "The time " + printable(text) + " is none; " + option +
                                              " takes RFC 3339, seconds since the epoch or \"2 hours ago\".");
}

/// A moment, or how long it is past.
std::int64_t bound_of(const std::string& text) {
    if (const auto seconds = parse_time(text + " ago", now_s())) return *seconds;
    return moment(text, "--older-than also takes \"90 days\" and");
}

void print_object(const json::object& object) {
    std::printf("%s\n", json::serialize(object).c_str());
}

std::uint64_t count_of(const json::object& answer, const char* member) {
    return static_cast<std::uint64_t>(number_of(answer, member));
}

/// Checks one share to its end and returns the number of findings.
std::uint64_t check_share(const admin_client& server, const json::object& share, bool as_json) {
    const std::string name = printable(text_of(share, "name"));
    std::uint64_t objects = 0, waiting = 0, findings = 0;
    server.walk(share_path(share, "/check"), {}, [&](const json::object& step) {
        objects += count_of(step, "objects");
        waiting += count_of(step, "waiting");
        findings += count_of(step, "untold") + step.at("findings").as_array().size();
        for (const json::value& entry : step.at("findings").as_array()) {
            json::object finding = entry.as_object();
            finding["share"] = text_of(share, "name");
            const std::string object = text_of(finding, "object");
            if (as_json)
                print_object(finding);
            else
                std::printf("%s: %s: %s%s\n", name.c_str(), text_of(finding, "kind").c_str(),
                            object.empty() ? "" : (printable(object) + ": ").c_str(),
                            printable(text_of(finding, "text")).c_str());
        }
        if (count_of(step, "untold") > 0)
            std::fprintf(stderr, "iif: %s: %s\n", name.c_str(),
                         ("and " + count_text(count_of(step, "untold"), "further finding")).c_str());
    });
    if (!as_json)
        std::printf("%s: %s, %s waiting for a directory, %s\n", name.c_str(), count_text(objects, "object").c_str(),
                    std::to_string(waiting).c_str(), count_text(findings, "finding").c_str());
    return findings;
}

}  // namespace

exit_code run_admin_transactions(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    std::string path = "api/transactions";
    if (!options.share.empty())
        path += "?share=" + std::to_string(number_of(server.share(options.share), "subclient_id"));
    text_table table({"ID", "SHARE", "STATE", "LINES", "AGE", "ERROR"});
    server.for_each(path, "transactions", [&](const json::object& one) {
        if (options.json) return print_object(one);
        const std::string share = one.at("share").is_null() ? "-" : printable(text_of(one, "share"));
        table.add({text_of(one, "id"), share, text_of(one, "state"), std::to_string(number_of(one, "lines")),
                   age_text(now_s() - number_of(one, "created")), printable(text_of(one, "error"))});
    });
    if (!options.json) table.print();
    return exit_code::done;
}

exit_code run_admin_backup_mark(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    json::object body{{"backup_id", options.backup_id}};
    if (!options.before.empty()) body["before"] = moment(options.before, "--before");
    const json::object share = server.share(options.share);
    std::uint64_t marked = 0;
    server.walk(share_path(share, "/backup-mark"), body,
                [&](const json::object& step) { marked += count_of(step, "marked"); });
    if (options.json)
        print_object({{"share", options.share}, {"marked", marked}});
    else
        std::printf("%s: %s marked with backup %lld\n", printable(options.share).c_str(),
                    count_text(marked, "extent").c_str(), static_cast<long long>(options.backup_id));
    return exit_code::done;
}

exit_code run_admin_purge(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    const std::int64_t bound = bound_of(options.older_than);
    for (const json::object& share : server.shares(options.share)) {
        std::uint64_t versions = 0, objects = 0, extents = 0;
        server.walk(share_path(share, "/purge"), {{"older_than", bound}}, [&](const json::object& step) {
            versions += count_of(step, "versions");
            objects += count_of(step, "objects");
            extents += count_of(step, "extents");
        });
        const std::string name = text_of(share, "name");
        if (options.json)
            print_object({{"share", name}, {"versions", versions}, {"objects", objects}, {"extents", extents}});
        else
            std::printf("%s: removed %s, %s and %s\n", printable(name).c_str(), count_text(versions, "version").c_str(),
                        count_text(objects, "ended object").c_str(), count_text(extents, "extent").c_str());
    }
    return exit_code::done;
}

exit_code run_admin_check(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    std::uint64_t findings = 0;
    for (const json::object& share : server.shares(options.share))
        findings += check_share(server, share, options.json);
    return findings == 0 ? exit_code::done : exit_code::not_found;
}

exit_code run_admin_backup(const admin_options& options) {
    prepare_process(options.common);
    const std::string file = std::filesystem::absolute(options.file).lexically_normal();
    // A large index takes its time, and nothing is heard of it meanwhile.
    constexpr long no_bound = -1;
    const json::object answer =
        admin_client(options).post("api/backup", {{"file", file}, {"force", options.force}}, no_bound);
    if (options.json)
        print_object(answer);
    else
        std::printf("the index is copied into %s\n", printable(file).c_str());
    return exit_code::done;
}

}  // namespace iif
