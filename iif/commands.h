// The subcommands as functions: main reads the command line into these records and calls one of them.
#pragma once

#include <optional>
#include <string>

#include "iif/exit_code.h"

namespace iif {

/// Options that every subcommand which runs a part of the product takes.
struct common_options {
    std::string config;            ///< INI file; empty: the one named by the environment, if any
    std::optional<int> log_level;  ///< default 0, which is errors alone
    std::string log_file;          ///< empty: standard error
};

struct serve_options {
    common_options common;
    std::string directory;
    std::string state;  ///< empty: the share's place below the user's state directory
    std::string share;  ///< empty: named after the directory
    bool once = false;
    long rescan_s = 60;
    // Of `iif share` alone:
    std::string server_url;
    std::string admin_token_file;
    std::string token_file;
};

struct server_options {
    common_options common;
    std::string data;
    std::string listen = "127.0.0.1";
    unsigned short port = 0;
    bool allow_plain = false;
};

struct query_options {
    common_options common;
    std::string path;
    std::string at;  ///< empty: now
    std::string share;
    std::string state;
    double timeout_s = 2;
    bool json = false;
    bool wide = false;
};

struct journal_options {
    std::string directory;
    bool json = false;
};

/// Each runs to its end and returns how it went; a failure that ends it is thrown as program_error, or as another
/// std::exception, which main reports as exit_code::cannot_reach.
exit_code run_up(const serve_options& options);
exit_code run_share(const serve_options& options);
exit_code run_server(const server_options& options);
exit_code run_find(const query_options& options);
exit_code run_ls(const query_options& options);
exit_code run_journal_list(const journal_options& options);
exit_code run_journal_cat(const journal_options& options);
exit_code run_journal_check(const journal_options& options);
exit_code run_journal_repair(const journal_options& options);

}  // namespace iif
