// A connection to PostgreSQL, or to what speaks its protocol.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <libpq-fe.h>

#include "server/sql.h"

namespace index_server {

struct clear_result {
    void operator()(PGresult* result) const { PQclear(result); }
};
using postgresql_result = std::unique_ptr<PGresult, clear_result>;

/// Throws storage_unavailable when the connection is lost or the server asks to try again, and std::runtime_error for
/// any other failure. `what` says what was tried.
[[noreturn]] void fail_postgresql(PGconn* handle, const PGresult* result, const char* what);

class postgresql_connection : public sql_connection {
public:
    /// Connects. `settings` is a connection string of libpq, whose text is never shown: it may hold a password. Throws
    /// storage_unavailable when the server cannot be reached.
    explicit postgresql_connection(const std::string& settings);
    ~postgresql_connection() override;

    sql_dialect dialect() const noexcept override { return sql_dialect::postgresql; }
    void execute(const char* sql) override;
    std::unique_ptr<sql_cursor> prepare(const char* sql) override;
    /// A reader sees the state at its first statement; a writer what is committed at each of its statements.
    void begin(sql_access what) override;
    void commit() override;
    void roll_back() noexcept override;

    PGconn* handle() const noexcept { return handle_; }
    /// A name for a statement that no other one on this connection has.
    std::string statement_name() { return "s" + std::to_string(++statements_); }
    /// Called before each run of a prepared statement: has all of them planned anew from time to time.
    void count_run();

private:
    using clock = std::chrono::steady_clock;

    PGconn* handle_ = nullptr;
    unsigned statements_ = 0;
    bool can_discard_plans_ = false;
    unsigned runs_ = 0;
    clock::time_point planned_ = clock::now();
};

}  // namespace index_server
