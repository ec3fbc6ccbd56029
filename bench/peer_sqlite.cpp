// SQLite as a peer: a table of keys and values, WAL, and no sync.
#include <sqlite3.h>

#include "bench/peers.h"

namespace bench {

namespace {

struct close_connection {
    void operator()(sqlite3* connection) const { sqlite3_close(connection); }
};
struct finalize_statement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using connection_ptr = std::unique_ptr<sqlite3, close_connection>;
using statement_ptr = std::unique_ptr<sqlite3_stmt, finalize_statement>;

class sqlite_store : public store {
public:
    explicit sqlite_store(const std::string& directory) : connection_(open(directory + "/db")) {
        check(sqlite3_exec(connection_.get(),
                           "PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF;"
                           "CREATE TABLE IF NOT EXISTS t (k TEXT PRIMARY KEY, v TEXT) WITHOUT ROWID",
                           nullptr, nullptr, nullptr) == SQLITE_OK,
              "SQLite makes no table");
        put_ = prepare("INSERT OR REPLACE INTO t VALUES (?1, ?2)");
        get_ = prepare("SELECT v FROM t WHERE k = ?1");
    }
    void put(const std::string& key, const std::string& value) override {
        bind(put_, 1, key);
        bind(put_, 2, value);
        check(sqlite3_step(put_.get()) == SQLITE_DONE, "SQLite insert failed");
        sqlite3_reset(put_.get());
    }
    void get(const std::string& key, std::string& value) override {
        bind(get_, 1, key);
        check(sqlite3_step(get_.get()) == SQLITE_ROW, "SQLite select failed");
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(get_.get(), 0));
        value.assign(text, static_cast<std::size_t>(sqlite3_column_bytes(get_.get(), 0)));
        sqlite3_reset(get_.get());
    }

private:
    static connection_ptr open(const std::string& file) {
        sqlite3* opened = nullptr;
        const int ret = sqlite3_open(file.c_str(), &opened);
        connection_ptr connection(opened);
        check(ret == SQLITE_OK, "SQLite does not open");
        return connection;
    }
    statement_ptr prepare(const char* text) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(connection_.get(), text, -1, &statement, nullptr) == SQLITE_OK,
              "SQLite does not understand");
        return statement_ptr(statement);
    }
    static void bind(const statement_ptr& statement, int place, const std::string& text) {
        sqlite3_bind_text(statement.get(), place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }

    connection_ptr connection_;
    statement_ptr put_;
    statement_ptr get_;
};

}  // namespace

std::unique_ptr<store> open_sqlite(const std::string& directory) {
    return std::make_unique<sqlite_store>(directory);
}

}  // namespace bench
