// The relational storage as the rest of the server sees it: connections, statements and transactions, the same over
// every engine. SQL is written once, in what all engines understand:
//
// - parameters are ?1, ?2, ... without gaps;
// - an insertion that may find its row there says ON CONFLICT, and one whose id is wanted says RETURNING id;
// - numbers and truth values are not mixed, and no hint names an index.
//
// What cannot be said in common asks for the connection's dialect. Every failure becomes a std::runtime_error whose
// text says what was tried; a storage_unavailable when the same may succeed later.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/storage_unavailable.h"

namespace index_server {

enum class sql_dialect { sqlite, postgresql };

/// A statement as an engine implements it; sql_statement is its user's side and says what the operations mean.
class sql_cursor {
public:
    virtual ~sql_cursor() = default;
    virtual void bind_null(int index) = 0;
    virtual void bind_integer(int index, std::int64_t value) = 0;
    virtual void bind_text(int index, std::string_view text) = 0;
    virtual bool step() = 0;
    virtual void reset() noexcept = 0;
    virtual std::int64_t integer(int column) const = 0;
    virtual std::string_view text(int column) const = 0;
    virtual bool is_null(int column) const = 0;
};

/// A transaction sees one state of the storage when it reads; when it writes it may wait for other writers.
enum class sql_access { read, write };

/// One connection. Used by one thread at a time; its statements must go before it.
class sql_connection {
public:
    sql_connection() = default;
    virtual ~sql_connection() = default;
    sql_connection(const sql_connection&) = delete;
    sql_connection& operator=(const sql_connection&) = delete;

    virtual sql_dialect dialect() const noexcept = 0;
    /// Runs statements without parameters, separated by semicolons, and gives no rows.
    virtual void execute(const char* sql) = 0;

    // For sql_statement and sql_transaction.
    virtual std::unique_ptr<sql_cursor> prepare(const char* sql) = 0;
    virtual void begin(sql_access what) = 0;
    virtual void commit() = 0;
    virtual void roll_back() noexcept = 0;
};

/// A prepared statement, made once and run often.
class sql_statement {
public:
    sql_statement(sql_connection& connection, const char* sql) : cursor_(connection.prepare(sql)) {}

    /// Parameters count from 1 and keep their values over runs. A text is not copied: it must live until the statement
    /// has run. It may hold any bytes where the column does.
    sql_statement& bind(int index, std::int64_t value) {
        cursor_->bind_integer(index, value);
        return *this;
    }
    sql_statement& bind(int index, const std::optional<std::int64_t>& value) {
        value ? cursor_->bind_integer(index, *value) : cursor_->bind_null(index);
        return *this;
    }
    sql_statement& bind(int index, std::string_view text) {
        cursor_->bind_text(index, text);
        return *this;
    }
    /// An empty text is bound as no value.
    sql_statement& bind_text_if_any(int index, std::string_view text) {
        text.empty() ? cursor_->bind_null(index) : cursor_->bind_text(index, text);
        return *this;
    }

    /// Moves to the next row; false when there is none, and the statement is then ready for another run.
    bool step() { return cursor_->step(); }
    /// Runs a statement to its end, ignoring rows.
    void run() {
        while (step()) {
        }
    }
    /// Ends a run before its last row.
    void reset() noexcept { cursor_->reset(); }

    std::int64_t integer(int column) const { return cursor_->integer(column); }
    std::optional<std::int64_t> integer_if_any(int column) const {
        return is_null(column) ? std::nullopt : std::optional(integer(column));
    }
    /// Of a column of texts. Valid until the next step or reset; empty for no value.
    std::string_view text(int column) const { return cursor_->text(column); }
    bool is_null(int column) const { return cursor_->is_null(column); }

private:
    std::unique_ptr<sql_cursor> cursor_;
};

/// Ends a statement's run when the scope is left, however it is left.
class statement_run {
public:
    explicit statement_run(sql_statement& statement) : statement_(statement) {}
    ~statement_run() { statement_.reset(); }
    statement_run(const statement_run&) = delete;
    statement_run& operator=(const statement_run&) = delete;

private:
    sql_statement& statement_;
};

/// A storage transaction that is rolled back unless it was committed.
class sql_transaction {
public:
    sql_transaction(sql_connection& connection, sql_access what) : connection_(connection) { connection_.begin(what); }
    ~sql_transaction() {
        if (open_) connection_.roll_back();
    }
    sql_transaction(const sql_transaction&) = delete;
    sql_transaction& operator=(const sql_transaction&) = delete;

    /// Durable on return, when it wrote. After a failure nothing is known of what was written.
    void commit() {
        connection_.commit();
        open_ = false;
    }

private:
    sql_connection& connection_;
    bool open_ = true;
};

}  // namespace index_server
