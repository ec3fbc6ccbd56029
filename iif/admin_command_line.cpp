// The command line of iif admin.
#include <CLI/CLI.hpp>

#include "iif/command_line.h"

namespace iif {
namespace {

using runner = exit_code (*)(const admin_options&);

/// Adds a subcommand with the options that all of them take.
CLI::App& add(CLI::App& parent, const char* name, const char* help, admin_options& options, chosen& choice,
              runner run) {
    CLI::App& command = *parent.add_subcommand(name, help);
    command.add_option("--server", options.url, "URL of the index server (default: url in [server])");
    command.add_option("--admin-token-file", options.admin_token_file,
                       "File with the server's admin token (default: admin_token_file in [server])");
    command.add_flag("--json", options.json, "One JSON object a line");
    add_common(command, options.common);
    command.callback([&choice, &options, run] { choice.run = [&options, run] { return run(options); }; });
    return command;
}

CLI::App& add_of_share(CLI::App& parent, const char* name, const char* help, admin_options& options, chosen& choice,
                       runner run) {
    CLI::App& command = add(parent, name, help, options, choice, run);
    command.add_option("NAME", options.name, "Name of the share")->required();
    return command;
}

CLI::Option* add_share_choice(CLI::App& command, admin_options& options) {
    return command.add_option("--share", options.share, "Of this share alone");
}

void add_shares(CLI::App& admin, admin_options& options, chosen& choice) {
    CLI::App& share = *admin.add_subcommand("share", "The shares of the server, and their tokens");
    share.require_subcommand(1);
    add_of_share(share, "add", "Register a share and issue its first token; --json prints what --token-file takes",
                 options, choice, run_admin_share_add);
    add(share, "list", "All shares", options, choice, run_admin_share_list);
    add_of_share(share, "show", "The ids of a share, and how much there is of it", options, choice,
                 run_admin_share_show);
    add_of_share(share, "remove", "Forget a share with all that is indexed of it", options, choice,
                 run_admin_share_remove)
        .add_flag("--yes", options.yes, "It is meant");
    add_of_share(share, "token", "Issue a token, which is shown once", options, choice, run_admin_share_token)
        .add_flag("--revoke", options.revoke, "Withdraw all others of the share");
}

}  // namespace

void add_admin(CLI::App& app, admin_options& options, chosen& choice) {
    CLI::App& admin = *app.add_subcommand("admin", "Administer an index server");
    admin.require_subcommand(1);
    add_shares(admin, options, choice);
    add_share_choice(
        add(admin, "transactions", "The latest collect transactions", options, choice, run_admin_transactions),
        options);
    CLI::App& mark =
        add(admin, "backup-mark", "Give extents without a backup id this one", options, choice, run_admin_backup_mark);
    mark.add_option("--share", options.share, "Name of the share")->required();
    mark.add_option("--backup-id", options.backup_id, "The id, above 0")->required()->check(CLI::PositiveNumber);
    mark.add_option("--before", options.before, "Only versions that are not younger than this time");
    CLI::App& purge =
        add(admin, "purge", "Remove history that no question after a bound needs", options, choice, run_admin_purge);
    purge.add_option("--older-than", options.older_than, "The bound: \"90 days\", RFC 3339 or seconds since the epoch")
        ->required();
    add_share_choice(purge, options);
    add_share_choice(add(admin, "check", "Look for faults in the index; exit code 1 when there is one", options, choice,
                         run_admin_check),
                     options);
    CLI::App& backup = add(admin, "backup", "Copy the embedded index, while it is used, into a file on its machine",
                           options, choice, run_admin_backup);
    backup.add_option("FILE", options.file, "The file, mode 0600")->required();
    backup.add_flag("--force", options.force, "Replace an earlier backup of that name");
}

}  // namespace iif
