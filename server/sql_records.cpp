// Shares, tokens and transaction records in the storage.
#include "server/sql_records.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <limits>
#include <random>

namespace index_server {

namespace {

// A host asks for the last record and for those that it waits for; the rest is there for people who look for a reason.
constexpr std::int64_t kept_transactions = 100;

constexpr const char* select_share =
    "SELECT name, subclient_id, client_id, folder_id, root_guid, index_server_name FROM share ";
const std::string select_transaction = "SELECT " + std::string(transaction_columns) + " FROM collect_transaction ";
constexpr int server_column = transaction_column_count - 1;

share share_row(const sql_statement& row) {
    share found;
    found.name = row.text(0);
    found.subclient_id = row.integer(1);
    found.client_id = row.integer(2);
    found.folder_id = row.integer(3);
    found.root_guid = row.text(4);
    found.index_server_name = row.text(5);
    return found;
}

template <class Record>
std::optional<Record> only_row(sql_statement& statement, Record (*read)(const sql_statement&)) {
    const statement_run run(statement);
    if (!statement.step()) return std::nullopt;
    return read(statement);
}

template <class Record>
std::vector<Record> all_rows(sql_statement& statement, Record (*read)(const sql_statement&)) {
    std::vector<Record> found;
    const statement_run run(statement);
    while (statement.step())
        found.push_back(read(statement));
    return found;
}

std::optional<transaction_record> only_transaction(sql_statement& statement, const std::string& server) {
    const statement_run run(statement);
    if (!statement.step()) return std::nullopt;
    transaction_record found = transaction_row(statement);
    const bool is_open =
        found.status == App::ProcessingStatus_QUEUED || found.status == App::ProcessingStatus_PROCESSING;
    if (is_open && statement.text(server_column) != server) {
        found.status = App::ProcessingStatus_FAILED;
        found.error = "another server took the file and has not applied it";
    }
    return found;
}

std::int64_t random_number(std::int64_t low, std::int64_t high) {
    static thread_local std::random_device device;
    return std::uniform_int_distribution<std::int64_t>(low, high)(device);
}

/// A random number that stands nowhere in the column yet.
std::int64_t unused_number(sql_connection& connection, const char* find_sql, std::int64_t low, std::int64_t high) {
    sql_statement find(connection, find_sql);
    for (;;) {
        const std::int64_t number = random_number(low, high);
        const statement_run run(find);
        if (!find.bind(1, number).step()) return number;
    }
}

token_grant token_row(const sql_statement& row) {
    return {std::string(row.text(0)), row.integer(1)};
}

}  // namespace

transaction_record transaction_row(const sql_statement& row) {
    transaction_record found;
    found.id = row.text(0);
    found.subclient_id = row.integer(1);
    found.status = static_cast<App::ProcessingStatus>(row.integer(2));
    found.error = row.text(3);
    found.created_ns = row.integer(4);
    found.lines = static_cast<std::uint64_t>(row.integer(5));
    return found;
}

std::vector<share> read_shares(sql_connection& connection) {
    sql_statement statement(connection, (std::string(select_share) + "ORDER BY name").c_str());
    return all_rows(statement, share_row);
}

std::optional<share> read_share_of_subclient(sql_connection& connection, std::int64_t subclient_id) {
    sql_statement statement(connection, (std::string(select_share) + "WHERE subclient_id = ?1").c_str());
    return only_row(statement.bind(1, subclient_id), share_row);
}

std::optional<share> read_share_of_name(sql_connection& connection, const std::string& name) {
    sql_statement statement(connection, (std::string(select_share) + "WHERE name = ?1").c_str());
    return only_row(statement.bind(1, name), share_row);
}

std::optional<share> insert_share(sql_connection& connection, const std::string& name) {
    constexpr std::int64_t max_id = std::numeric_limits<std::int32_t>::max();
    share made;
    made.name = name;
    made.subclient_id = unused_number(connection,
                                      "SELECT 1 FROM share WHERE subclient_id = ?1 UNION ALL "
                                      "SELECT 1 FROM withdrawn_share WHERE subclient_id = ?1",
                                      1, max_id);
    made.client_id = unused_number(connection, "SELECT 1 FROM share WHERE client_id = ?1", 1, max_id);
    made.folder_id = unused_number(connection, "SELECT 1 FROM share WHERE folder_id = ?1", 1000000000, 9999999999);
    made.root_guid = to_string(boost::uuids::random_generator()());
    made.index_server_name = "index-" + to_string(boost::uuids::random_generator()());
    sql_statement statement(connection,
                            "INSERT INTO share(name, subclient_id, client_id, folder_id, root_guid, "
                            "index_server_name) VALUES(?1, ?2, ?3, ?4, ?5, ?6) ON CONFLICT DO NOTHING RETURNING 1");
    statement.bind(1, made.name).bind(2, made.subclient_id).bind(3, made.client_id).bind(4, made.folder_id);
    statement.bind(5, made.root_guid).bind(6, made.index_server_name);
    const statement_run run(statement);
    return statement.step() ? std::optional(made) : std::nullopt;
}

void insert_token(sql_connection& connection, const token_grant& grant) {
    sql_statement statement(connection, "INSERT INTO token(hash, subclient_id) VALUES(?1, ?2) ON CONFLICT DO NOTHING");
    statement.bind(1, grant.hash).bind(2, grant.subclient_id).run();
}

std::string last_id_sql(const sql_connection& connection, const std::string& table) {
    // The embedded engine gives out ids over all shares and has no index of a share's ids.
    const bool of_all = connection.dialect() == sql_dialect::sqlite;
    return "SELECT coalesce(max(id), 0) FROM " + table + " WHERE " + (of_all ? "?1 > 0" : "share = ?1");
}

void delete_token(sql_connection& connection, const token_grant& grant) {
    sql_statement statement(connection, "DELETE FROM token WHERE hash = ?1 AND subclient_id = ?2");
    statement.bind(1, grant.hash).bind(2, grant.subclient_id).run();
}

std::vector<token_grant> read_tokens(sql_connection& connection) {
    sql_statement statement(connection, "SELECT hash, subclient_id FROM token ORDER BY id");
    return all_rows(statement, token_row);
}

void write_transaction(sql_connection& connection, const transaction_record& record, const std::string& server) {
    sql_statement put(connection,
                      "INSERT INTO collect_transaction(id, subclient_id, status, error, created_ns, lines, server) "
                      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7) ON CONFLICT(id) DO UPDATE SET "
                      "subclient_id = excluded.subclient_id, status = excluded.status, error = excluded.error, "
                      "created_ns = excluded.created_ns, lines = excluded.lines");
    put.bind(1, record.id).bind(2, record.subclient_id).bind(3, std::int64_t{record.status}).bind(4, record.error);
    put.bind(5, record.created_ns).bind(6, static_cast<std::int64_t>(record.lines)).bind(7, server).run();
    sql_statement forget(connection,
                         "DELETE FROM collect_transaction WHERE subclient_id = ?1 AND status NOT IN (?2, ?3) "
                         "AND seq < (SELECT seq FROM collect_transaction WHERE subclient_id = ?1 "
                         "ORDER BY seq DESC LIMIT 1 OFFSET ?4)");
    forget.bind(1, record.subclient_id).bind(2, std::int64_t{App::ProcessingStatus_QUEUED});
    forget.bind(3, std::int64_t{App::ProcessingStatus_PROCESSING}).bind(4, kept_transactions - 1).run();
}

std::optional<transaction_record> read_transaction(sql_connection& connection, const std::string& id,
                                                   const std::string& server) {
    sql_statement statement(connection, (select_transaction + "WHERE id = ?1").c_str());
    return only_transaction(statement.bind(1, id), server);
}

std::optional<transaction_record> read_last_transaction(sql_connection& connection, std::int64_t subclient_id,
                                                        const std::string& server) {
    sql_statement statement(connection,
                            (select_transaction + "WHERE subclient_id = ?1 ORDER BY seq DESC LIMIT 1").c_str());
    return only_transaction(statement.bind(1, subclient_id), server);
}

std::vector<transaction_record> read_open_transactions(sql_connection& connection, const std::string& server) {
    sql_statement statement(connection,
                            (select_transaction + "WHERE status IN (?1, ?2) AND server = ?3 ORDER BY seq").c_str());
    statement.bind(1, std::int64_t{App::ProcessingStatus_QUEUED})
        .bind(2, std::int64_t{App::ProcessingStatus_PROCESSING})
        .bind(3, server);
    return all_rows(statement, transaction_row);
}

}  // namespace index_server
