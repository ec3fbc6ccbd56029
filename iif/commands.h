// The subcommands as functions: main reads the command line into these records and calls one of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "iif/exit_code.h"

namespace iif {

/// Options that every subcommand which runs a part of the product takes.
struct common_options {
    std::string config;            ///< INI file; empty: the one named by the environment, if any
    std::optional<int> log_level;  ///< default 0, which is errors alone
    std::string log_file;          ///< empty: standard error
};

/// An index server that runs elsewhere, and what makes shares known to it.
struct server_access {
    std::string url;
    std::string admin_token_file;
    std::vector<std::string> token_files;
};

struct serve_options {
    common_options common;
    std::string directory;
    std::string state;  ///< empty: the share's place below the user's state directory
    std::string share;  ///< empty: named after the directory
    bool once = false;
    long rescan_s = 60;
    server_access server;  ///< of `iif share` alone
};

struct host_options {
    common_options common;
    std::vector<std::string> shares;
    std::string state;  ///< holds a state for each share; empty: the user's state directory
    server_access server;
};

struct server_options {
    common_options common;
    std::string data;
    // Each wins over the settings file.
    std::optional<std::string> listen;
    std::optional<unsigned short> port;
    std::optional<std::string> tls_certificate;
    std::optional<std::string> tls_key;
    bool allow_plain = false;
};

/// Which share is meant; with neither, the only one there is.
struct share_choice {
    std::string share;
    std::string state;
};

struct query_options {
    common_options common;
    std::string path;
    std::string guid;            ///< in place of a path
    std::string at;              ///< empty: now
    bool not_backed_up = false;  ///< of `iif extents` alone, in place of an object
    share_choice which;
    double timeout_s = 2;
    bool json = false;
    bool wide = false;
};

struct flush_options {
    common_options common;
    share_choice which;
    double timeout_s = 60;
};

struct counters_options {
    share_choice which;
    bool json = false;
    bool clear = false;
};

struct status_options {
    share_choice which;  ///< with neither, every share
    bool json = false;
    bool watch = false;
};

struct journal_options {
    std::string directory;
    bool json = false;
};

/// Of all the subcommands of `iif admin`; each reads the part that it takes.
struct admin_options {
    common_options common;
    std::string url;               ///< empty: from the settings
    std::string admin_token_file;  ///< the same
    bool json = false;
    std::string name;   ///< of a share, of those that need one
    std::string share;  ///< of those that can do without
    bool yes = false;
    bool revoke = false;
    std::int64_t backup_id = 0;
    std::string before;
    std::string older_than;
    std::string file;
    bool force = false;
};

/// Each runs to its end and returns how it went; a failure that ends it is thrown as program_error, or as another
/// std::exception, which main reports as exit_code::cannot_reach.
exit_code run_up(const serve_options& options);
exit_code run_share(const serve_options& options);
exit_code run_host(const host_options& options);
exit_code run_server(const server_options& options);
exit_code run_find(const query_options& options);
exit_code run_ls(const query_options& options);
exit_code run_extents(const query_options& options);
exit_code run_flush(const flush_options& options);
exit_code run_counters(const counters_options& options);
exit_code run_status(const status_options& options);
exit_code run_journal_list(const journal_options& options);
exit_code run_journal_cat(const journal_options& options);
exit_code run_journal_check(const journal_options& options);
exit_code run_journal_repair(const journal_options& options);
exit_code run_admin_share_add(const admin_options& options);
exit_code run_admin_share_list(const admin_options& options);
exit_code run_admin_share_show(const admin_options& options);
exit_code run_admin_share_remove(const admin_options& options);
exit_code run_admin_share_token(const admin_options& options);
exit_code run_admin_transactions(const admin_options& options);
exit_code run_admin_backup_mark(const admin_options& options);
exit_code run_admin_purge(const admin_options& options);
exit_code run_admin_check(const admin_options& options);
exit_code run_admin_backup(const admin_options& options);

}  // namespace iif
