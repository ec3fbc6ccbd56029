// Implementation of the database handles.
#include "server/sqlite_db.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace index_server {

namespace {

// Long enough to sit out a checkpoint; a writer never waits for another, since there is one.
constexpr int busy_wait_ms = 10000;

[[noreturn]] void fail(sqlite3* handle, const char* what) {
    throw std::runtime_error(std::string("database: ") + what + ": " +
                             (handle != nullptr ? sqlite3_errmsg(handle) : "out of memory"));
}

/// The database holds what the shares hold, so it belongs to its owner alone; its side files take its mode over.
void make_private_file(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    ::close(descriptor);
}

}  // namespace

sqlite_connection::sqlite_connection(const std::string& path, access mode) {
    const int flags = (mode == access::read_write ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY) |
                      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    try {
        if (mode == access::read_write) make_private_file(path);
        if (sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr) != SQLITE_OK) fail(handle_, "cannot open");
        sqlite3_busy_timeout(handle_, busy_wait_ms);
        // Sorts and intermediate tables stay in memory: the directory may be on a small or slow disk.
        execute("PRAGMA cache_size = -65536; PRAGMA temp_store = MEMORY;");
        if (mode == access::read_write) execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;");
    } catch (...) {
        sqlite3_close_v2(handle_);
        throw;
    }
}

sqlite_connection::~sqlite_connection() {
    sqlite3_close_v2(handle_);
}

void sqlite_connection::execute(const char* sql) {
    if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(handle_, "cannot run a command");
}

std::int64_t sqlite_connection::last_id() const {
    return sqlite3_last_insert_rowid(handle_);
}

int sqlite_connection::changes() const {
    return sqlite3_changes(handle_);
}

sqlite_statement::sqlite_statement(sqlite_connection& connection, const char* sql) {
    if (sqlite3_prepare_v3(connection.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &handle_, nullptr) != SQLITE_OK)
        fail(connection.handle(), "cannot prepare a statement");
}

sqlite_statement::~sqlite_statement() {
    sqlite3_finalize(handle_);
}

void sqlite_statement::check(int code, const char* what) const {
    if (code != SQLITE_OK) fail(sqlite3_db_handle(handle_), what);
}

sqlite_statement& sqlite_statement::bind(int index, std::int64_t value) {
    check(sqlite3_bind_int64(handle_, index, value), "cannot bind a number");
    return *this;
}

sqlite_statement& sqlite_statement::bind(int index, const std::optional<std::int64_t>& value) {
    if (value) return bind(index, *value);
    check(sqlite3_bind_null(handle_, index), "cannot bind no value");
    return *this;
}

sqlite_statement& sqlite_statement::bind(int index, std::string_view text) {
    // A null pointer would be bound as no value.
    const char* data = text.data() != nullptr ? text.data() : "";
    check(sqlite3_bind_text64(handle_, index, data, text.size(), SQLITE_STATIC, SQLITE_UTF8), "cannot bind a text");
    return *this;
}

sqlite_statement& sqlite_statement::bind_text_if_any(int index, std::string_view text) {
    return text.empty() ? bind(index, std::optional<std::int64_t>()) : bind(index, text);
}

bool sqlite_statement::step() {
    const int code = sqlite3_step(handle_);
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) {
        sqlite3_reset(handle_);
        return false;
    }
    const std::string reason = sqlite3_errmsg(sqlite3_db_handle(handle_));
    sqlite3_reset(handle_);
    throw std::runtime_error("database: cannot run a statement: " + reason);
}

void sqlite_statement::run() {
    while (step()) {
    }
}

void sqlite_statement::reset() noexcept {
    sqlite3_reset(handle_);
}

std::int64_t sqlite_statement::integer(int column) const {
    return sqlite3_column_int64(handle_, column);
}

std::optional<std::int64_t> sqlite_statement::integer_if_any(int column) const {
    if (is_null(column)) return std::nullopt;
    return integer(column);
}

std::string_view sqlite_statement::text(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
    if (data == nullptr) return {};
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column))};
}

bool sqlite_statement::is_null(int column) const {
    return sqlite3_column_type(handle_, column) == SQLITE_NULL;
}

sqlite_transaction::sqlite_transaction(sqlite_connection& connection, kind what) : connection_(connection) {
    // A writer takes its lock at once, so that it cannot fail for it later with half of its work done.
    connection_.execute(what == kind::write ? "BEGIN IMMEDIATE" : "BEGIN");
}

sqlite_transaction::~sqlite_transaction() {
    // The database may have rolled back by itself, which makes this fail; either way nothing of it stays.
    if (open_) sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void sqlite_transaction::commit() {
    connection_.execute("COMMIT");
    open_ = false;
}

}  // namespace index_server
