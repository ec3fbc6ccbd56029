// A thin owner of the embedded database's C handles: connections, statements, transactions. Every failure becomes a
// std::runtime_error whose text says what was tried.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace index_server {

/// One connection. Used by one thread at a time; its statements must go before it.
class sqlite_connection {
public:
    enum class access { read_write, read_only };

    /// Opens the database file, making it when `mode` allows; sets write-ahead logging, a full sync at each commit and
    /// a wait for busy locks.
    sqlite_connection(const std::string& path, access mode);
    ~sqlite_connection();
    sqlite_connection(const sqlite_connection&) = delete;
    sqlite_connection& operator=(const sqlite_connection&) = delete;

    /// Runs statements that give no rows.
    void execute(const char* sql);
    /// The id that the latest insertion gave.
    std::int64_t last_id() const;
    /// Rows that the latest change touched.
    int changes() const;
    sqlite3* handle() const noexcept { return handle_; }

private:
    sqlite3* handle_ = nullptr;
};

/// A prepared statement, made once and run often.
class sqlite_statement {
public:
    sqlite_statement(sqlite_connection& connection, const char* sql);
    ~sqlite_statement();
    sqlite_statement(const sqlite_statement&) = delete;
    sqlite_statement& operator=(const sqlite_statement&) = delete;

    /// Parameters count from 1. A text is not copied: it must live until the statement has run.
    sqlite_statement& bind(int index, std::int64_t value);
    sqlite_statement& bind(int index, const std::optional<std::int64_t>& value);
    sqlite_statement& bind(int index, std::string_view text);
    /// An empty text is bound as no value.
    sqlite_statement& bind_text_if_any(int index, std::string_view text);

    /// Moves to the next row; false when there is none, and the statement is then ready for another run.
    bool step();
    /// Runs a statement to its end, ignoring rows.
    void run();
    /// Ends a run before its last row.
    void reset() noexcept;

    std::int64_t integer(int column) const;
    std::optional<std::int64_t> integer_if_any(int column) const;
    /// Valid until the next step or reset; empty for no value.
    std::string_view text(int column) const;
    bool is_null(int column) const;

private:
    void check(int code, const char* what) const;

    sqlite3_stmt* handle_ = nullptr;
};

/// Ends a statement's run when the scope is left, however it is left.
class statement_run {
public:
    explicit statement_run(sqlite_statement& statement) : statement_(statement) {}
    ~statement_run() { statement_.reset(); }
    statement_run(const statement_run&) = delete;
    statement_run& operator=(const statement_run&) = delete;

private:
    sqlite_statement& statement_;
};

/// A storage transaction that is rolled back unless it was committed.
class sqlite_transaction {
public:
    enum class kind { read, write };

    sqlite_transaction(sqlite_connection& connection, kind what);
    ~sqlite_transaction();
    sqlite_transaction(const sqlite_transaction&) = delete;
    sqlite_transaction& operator=(const sqlite_transaction&) = delete;

    void commit();

private:
    sqlite_connection& connection_;
    bool open_ = true;
};

}  // namespace index_server
