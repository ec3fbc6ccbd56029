// Connections and statements of the embedded database, over its C handles.
#include "server/sqlite_driver.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace index_server {

namespace {

// Long enough to sit out a checkpoint; a writer never waits for another, since there is one.
constexpr int busy_wait_ms = 10000;

[[noreturn]] void fail(sqlite3* handle, const char* what) {
    throw std::runtime_error(std::string("database: ") + what + ": " +
                             (handle != nullptr ? sqlite3_errmsg(handle) : "out of memory"));
}

/// The database holds what the shares hold, so it belongs to its owner alone; its side files take its mode over. One
/// that is there is not opened: closing it here would end the locks that other connections of this process have on it.
void make_private_file(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
        ::close(descriptor);
    } else if (errno != EEXIST) {
        throw std::runtime_error("cannot make " + path + ": " + std::strerror(errno));
    }
}

class sqlite_cursor : public sql_cursor {
public:
    sqlite_cursor(sqlite3* connection, const char* sql) {
        if (sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &handle_, nullptr) != SQLITE_OK)
            fail(connection, "cannot prepare a statement");
    }
    ~sqlite_cursor() override { sqlite3_finalize(handle_); }

    void bind_null(int index) override { check(sqlite3_bind_null(handle_, index), "cannot bind no value"); }

    void bind_integer(int index, std::int64_t value) override {
        check(sqlite3_bind_int64(handle_, index, value), "cannot bind a number");
    }

    void bind_text(int index, std::string_view text) override {
        // A null pointer would be bound as no value.
        const char* data = text.data() != nullptr ? text.data() : "";
        check(sqlite3_bind_text64(handle_, index, data, text.size(), SQLITE_STATIC, SQLITE_UTF8), "cannot bind a text");
    }

    bool step() override {
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

    void reset() noexcept override { sqlite3_reset(handle_); }

    std::int64_t integer(int column) const override { return sqlite3_column_int64(handle_, column); }

    std::string_view text(int column) const override {
        const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
        if (data == nullptr) return {};
        return {data, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column))};
    }

    bool is_null(int column) const override { return sqlite3_column_type(handle_, column) == SQLITE_NULL; }

private:
    void check(int code, const char* what) const {
        if (code != SQLITE_OK) fail(sqlite3_db_handle(handle_), what);
    }

    sqlite3_stmt* handle_ = nullptr;
};

void run(sqlite3* handle, const char* sql) {
    if (sqlite3_exec(handle, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(handle, "cannot run a command");
}

struct closer {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
};

std::unique_ptr<sqlite3, closer> open_handle(const std::string& path, sql_access what) {
    // Before the first use: counting each piece of memory takes a lock that all connections share.
    [[maybe_unused]] static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    const bool writes = what == sql_access::write;
    const int flags = (writes ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY) |
                      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    if (writes) make_private_file(path);
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
    std::unique_ptr<sqlite3, closer> handle(opened);
    if (code != SQLITE_OK) fail(opened, "cannot open");
    sqlite3_busy_timeout(opened, busy_wait_ms);
    // Sorts and intermediate tables stay in memory: the directory may be on a small or slow disk.
    run(opened, "PRAGMA cache_size = -65536; PRAGMA temp_store = MEMORY;");
    if (writes) run(opened, "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;");
    return handle;
}

class sqlite_connection : public sql_connection {
public:
    sqlite_connection(const std::string& path, sql_access what) : handle_(open_handle(path, what)) {}

    sql_dialect dialect() const noexcept override { return sql_dialect::sqlite; }
    void execute(const char* sql) override { run(handle_.get(), sql); }
    std::unique_ptr<sql_cursor> prepare(const char* sql) override {
        return std::make_unique<sqlite_cursor>(handle_.get(), sql);
    }

    void begin(sql_access what) override { (what == sql_access::write ? begin_writing_ : begin_reading_).step(); }
    void commit() override { commit_.step(); }
    // The database may have rolled back by itself, which makes this fail; either way nothing of it stays.
    void roll_back() noexcept override { sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr); }

private:
    const std::unique_ptr<sqlite3, closer> handle_;
    // Prepared, because a search takes hardly longer than the reading of these words.
    sqlite_cursor begin_reading_{handle_.get(), "BEGIN"};
    // A writer takes its lock at once, so that it cannot fail for it later with half of its work done.
    sqlite_cursor begin_writing_{handle_.get(), "BEGIN IMMEDIATE"};
    sqlite_cursor commit_{handle_.get(), "COMMIT"};
};

}  // namespace

std::unique_ptr<sql_connection> open_sqlite(const std::string& path, sql_access what) {
    return std::make_unique<sqlite_connection>(path, what);
}

}  // namespace index_server
