// The command line program: reads the command line and runs one subcommand.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "iif/command_line.h"
#include "share/state_dir.h"

namespace {

using namespace iif;

constexpr const char* time_help = "RFC 3339, seconds since the epoch, or \"2 hours ago\"";

void add_serving(CLI::App& command, serve_options& options) {
    command.add_option("DIR", options.directory, "The directory tree to serve")->required();
    command.add_option("--state", options.state, "Where journals and the share's identity live");
    command.add_option("--share", options.share, "Name of the share (default: named after DIR)");
    command.add_flag("--once", options.once, "Leave after one pass, when everything has been delivered");
    command.add_option("--rescan", options.rescan_s, "Seconds between two passes")
        ->check(CLI::Range(1L, 86400L * 366))
        ->capture_default_str();
    add_common(command, options.common);
}

/// Gives the option of the token file.
CLI::Option* add_server_access(CLI::App& command, server_access& server) {
    command.add_option("--server", server.url, "URL of the index server")->required();
    auto* admin = command.add_option("--admin-token-file", server.admin_token_file,
                                     "File with the server's admin token, to register the share");
    return command
        .add_option("--token-file", server.token_files, "File with what a registration of the share answered")
        ->excludes(admin);
}

void add_choice(CLI::App& command, share_choice& which) {
    auto* share = command.add_option("--share", which.share, "Which share; not needed when there is just one");
    command.add_option("--state", which.state, "The share's state directory")->excludes(share);
}

CLI::Option* add_timeout(CLI::App& command, double& seconds) {
    return command.add_option("--timeout", seconds, "Seconds to wait for changes that are under way")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
}

void add_up(CLI::App& app, serve_options& options, chosen& choice) {
    CLI::App& command = *app.add_subcommand("up", "Index DIR: server and share host in one process");
    add_serving(command, options);
    command.callback([&] { choice.run = [&] { return run_up(options); }; });
}

void add_share(CLI::App& app, serve_options& options, chosen& choice) {
    CLI::App& command = *app.add_subcommand("share", "Report DIR to an index server that runs elsewhere");
    add_serving(command, options);
    add_server_access(command, options.server)->expected(1);
    command.callback([&] { choice.run = [&] { return run_share(options); }; });
}

void add_host(CLI::App& app, host_options& options, chosen& choice) {
    CLI::App& command = *app.add_subcommand("host", "Serve shares that other programs feed through a control socket");
    command.add_option("--share", options.shares, "Name of a share; may be given several times")->required();
    command.add_option("--state", options.state, "Directory with a state for each share");
    add_server_access(command, options.server);
    add_common(command, options.common);
    command.callback([&] { choice.run = [&] { return run_host(options); }; });
}

void add_server(CLI::App& app, server_options& options, chosen& choice) {
    CLI::App& command = *app.add_subcommand("server", "Run the index server alone");
    command.add_option("--data", options.data, "Directory of the index")->required();
    command.add_option("--listen", options.listen, "Numeric address to listen on (default 127.0.0.1)");
    command.add_option("--port", options.port, "Port to listen on (default: a free one)");
    command.add_option("--tls-certificate", options.tls_certificate, "PEM file; makes the server speak TLS");
    command.add_option("--tls-key", options.tls_key, "PEM file with the certificate's key");
    command.add_flag("--allow-plain", options.allow_plain, "Let other machines in without TLS");
    add_common(command, options.common);
    command.callback([&] { choice.run = [&] { return run_server(options); }; });
}

CLI::App& add_query(CLI::App& app, const char* name, const char* help, query_options& options, chosen& choice,
                    exit_code (*run)(const query_options&)) {
    CLI::App& command = *app.add_subcommand(name, help);
    CLI::Option_group& object = *command.add_option_group("Object");
    object.add_option("PATH", options.path, "Path in the share, beginning with /");
    object.add_option("--guid", options.guid, "The object's GUID in place of a path");
    object.require_option(1);
    command.add_option("--at", options.at, std::string("As it was at that moment: ") + time_help);
    auto* json = command.add_flag("--json", options.json,
                                  "One JSON object a line; names keep the percent-encoding of the index");
    command.add_flag("--long", options.wide, "With mode, owner, size and time")->excludes(json);
    add_choice(command, options.which);
    add_timeout(command, options.timeout_s);
    add_common(command, options.common);
    command.callback([&choice, &options, run] { choice.run = [&options, run] { return run(options); }; });
    return command;
}

void add_extents(CLI::App& app, query_options& options, chosen& choice) {
    CLI::App& command =
        add_query(app, "extents", "The extents of a file, or those without a backup", options, choice, run_extents);
    command.get_option_group("Object")
        ->add_flag("--not-backed-up", options.not_backed_up,
                   "All of the share without a backup id, each with the GUID of its file; those of deleted files too")
        ->excludes(command.get_option("--at"));
}

void add_flush(CLI::App& app, flush_options& options, chosen& choice) {
    CLI::App& command = *app.add_subcommand("flush", "Deliver what was accepted, and wait for it");
    add_choice(command, options.which);
    add_timeout(command, options.timeout_s);
    add_common(command, options.common);
    command.callback([&] { choice.run = [&] { return run_flush(options); }; });
}

void add_counters(CLI::App& app, counters_options& options, chosen& choice) {
    CLI::App& command = *app.add_subcommand("counters", "The running totals of a share's host");
    add_choice(command, options.which);
    command.add_flag("--json", options.json, "One JSON object");
    command.add_flag("--clear", options.clear, "Set them back to 0 after they were read");
    command.callback([&] { choice.run = [&] { return run_counters(options); }; });
}

void add_status(CLI::App& app, status_options& options, chosen& choice) {
    CLI::App& command = *app.add_subcommand("status", "State, backlog and pressure of one share or of all");
    add_choice(command, options.which);
    command.add_flag("--json", options.json, "One JSON object a line");
    command.add_flag("--watch", options.watch, "Again every second, until Ctrl-C");
    command.callback([&] { choice.run = [&] { return run_status(options); }; });
}

void add_journal(CLI::App& app, journal_options& options, chosen& choice) {
    CLI::App& journal = *app.add_subcommand("journal", "Look after journal files, offline");
    journal.require_subcommand(1);
    const auto add = [&](const char* name, const char* help, exit_code (*run)(const journal_options&)) {
        CLI::App& command = *journal.add_subcommand(name, help);
        command.add_option("DIR", options.directory, "A journal directory or a state directory")->required();
        command.callback([&choice, &options, run] { choice.run = [&options, run] { return run(options); }; });
        return &command;
    };
    add("list", "The journal files with size, lines and state", run_journal_list);
    add("cat", "The recorded changes, readable", run_journal_cat)
        ->add_flag("--json", options.json, "One JSON object a line");
    add("check", "Say what is damaged; exit code 4 when something is", run_journal_check);
    add("repair", "Copy a file with an incomplete last line, then cut that line", run_journal_repair);
}

int report(exit_code code, const char* sentence) {
    std::fprintf(stderr, "iif: %s\n", sentence);
    return static_cast<int>(code);
}

}  // namespace

int main(int argc, char** argv) {
    serve_options up, share;
    server_options server;
    host_options host;
    query_options find, ls, extents;
    flush_options flush;
    counters_options counters;
    status_options status;
    journal_options journal;
    admin_options admin;
    chosen choice;
    CLI::App app{"A searchable index of a directory tree, now and at any past moment", "iif"};
    app.require_subcommand(1);
    app.footer("Exit codes: 0 done, 1 not found, 2 usage, 3 cannot reach, 4 refused.");
    add_up(app, up, choice);
    add_server(app, server, choice);
    add_share(app, share, choice);
    add_host(app, host, choice);
    add_query(app, "find", "What is known of the object at PATH", find, choice, run_find);
    add_query(app, "ls", "The entries of the directory at PATH", ls, choice, run_ls);
    add_extents(app, extents, choice);
    add_flush(app, flush, choice);
    add_counters(app, counters, choice);
    add_status(app, status, choice);
    add_journal(app, journal, choice);
    add_admin(app, admin, choice);
    try {
        app.parse(argc, argv);
        return static_cast<int>(choice.run());
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(exit_code::usage);
    } catch (const program_error& error) {
        return report(error.code(), error.what());
    } catch (const share_host::state_in_use& error) {
        return report(exit_code::refused, (std::string(error.what()) + "; end it or wait for it").c_str());
    } catch (const std::exception& error) {
        return report(exit_code::cannot_reach, error.what());
    }
}
