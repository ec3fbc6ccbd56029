// The administration of single shares in the storage.
#include "server/share_upkeep.h"

#include <algorithm>
#include <limits>
#include <string>

#include "server/id_list.h"
#include "server/object_removal.h"
#include "server/page_of_objects.h"
#include "server/place_text.h"
#include "server/sql_records.h"
#include "server/version_time.h"

namespace index_server {

namespace {

// Rows in one transaction: tens of milliseconds of work, in which feeds wait.
constexpr std::int64_t marked_at_once = 4000;
constexpr std::int64_t objects_at_once = 500;
constexpr std::int64_t rows_at_once = 4000;

/// Keeps other servers from removing rows of the same share until the transaction ends: what one has removed would look
/// to the other as if nothing were left. False when all are removed.
bool lock_withdrawn(sql_connection& connection, std::int64_t subclient_id) {
    sql_statement lock(connection,
                       "UPDATE withdrawn_share SET subclient_id = subclient_id WHERE subclient_id = ?1 RETURNING 1");
    return run_and_count(lock.bind(1, subclient_id)) > 0;
}

std::uint64_t count(sql_connection& connection, const char* sql, std::int64_t share) {
    sql_statement statement(connection, sql);
    const statement_run run(statement);
    return statement.bind(1, share).step() ? static_cast<std::uint64_t>(statement.integer(0)) : 0;
}

}  // namespace

share_rows rows_of_share(sql_connection& connection, const share& of) {
    const auto counted = [&](const char* sql) { return count(connection, sql, of.subclient_id); };
    share_rows rows;
    rows.objects = counted("SELECT count(*) FROM object WHERE share = ?1 AND newest IS NOT NULL");
    rows.versions = counted("SELECT count(*) FROM version WHERE share = ?1");
    rows.extents = counted("SELECT count(*) FROM extent WHERE share = ?1");
    rows.extents_to_back_up =
        counted("SELECT count(*) FROM extent WHERE share = ?1 AND state < 2 AND backup_id IS NULL");
    rows.tokens = counted("SELECT count(*) FROM token WHERE subclient_id = ?1");
    return rows;
}

std::vector<listed_transaction> read_transactions_before(sql_connection& connection,
                                                         std::optional<std::int64_t> subclient_id, std::int64_t place,
                                                         std::int64_t most) {
    const std::string sql = "SELECT " + std::string(transaction_columns) + ", seq FROM collect_transaction WHERE " +
                            (subclient_id ? "subclient_id = ?3 AND " : "") + "seq < ?1 ORDER BY seq DESC LIMIT ?2";
    sql_statement statement(connection, sql.c_str());
    const statement_run run(statement);
    statement.bind(1, place).bind(2, most);
    if (subclient_id) statement.bind(3, *subclient_id);
    std::vector<listed_transaction> list;
    while (statement.step())
        list.push_back({statement.integer(transaction_column_count), transaction_row(statement)});
    return list;
}

backup_mark_step mark_extents(sql_connection& connection, const share& of, std::int64_t backup_id,
                              std::optional<std::int64_t> up_to_s, const step_place& from) {
    const number_place place = read_place(from, 2);  // the living come first, each in the order of their ids
    lock_share(connection, of.subclient_id);
    sql_statement mark(connection,
                       (by_ids(connection, "UPDATE extent SET backup_id = ?2") +
                        "(SELECT id FROM extent WHERE share = ?1 AND state = ?3 AND state < 2 AND backup_id IS NULL "
                        "AND id > ?4 AND vtime <= ?5 ORDER BY id LIMIT ?6) RETURNING id")
                           .c_str());
    const std::int64_t last_ns = up_to_s ? last_ns_of(*up_to_s) : std::numeric_limits<std::int64_t>::max();
    mark.bind(1, of.subclient_id).bind(2, backup_id).bind(3, place.list).bind(4, place.after);
    mark.bind(5, last_ns).bind(6, marked_at_once);
    backup_mark_step done;
    std::int64_t last_id = 0;
    const statement_run run(mark);
    while (mark.step()) {
        ++done.marked;
        last_id = std::max(last_id, mark.integer(0));
    }
    if (done.marked == static_cast<std::uint64_t>(marked_at_once))
        done.next = place_text({place.list, last_id});
    else if (place.list == 0)
        done.next = place_text({1, 0});
    return done;
}

void withdraw_share(sql_connection& connection, const share& gone) {
    lock_share(connection, gone.subclient_id);
    const auto run = [&](const char* sql) { sql_statement(connection, sql).bind(1, gone.subclient_id).run(); };
    run("INSERT INTO withdrawn_share(subclient_id) VALUES(?1) ON CONFLICT DO NOTHING");
    run("DELETE FROM token WHERE subclient_id = ?1");
    run("DELETE FROM collect_transaction WHERE subclient_id = ?1");
    run("DELETE FROM share WHERE subclient_id = ?1");
}

std::vector<std::int64_t> read_withdrawn_shares(sql_connection& connection) {
    sql_statement statement(connection, "SELECT subclient_id FROM withdrawn_share ORDER BY subclient_id");
    const statement_run run(statement);
    std::vector<std::int64_t> found;
    while (statement.step())
        found.push_back(statement.integer(0));
    return found;
}

/// The rows of some objects, and then the objects. What was removed is not found again, so no place is kept.
bool remove_share_rows(sql_connection& connection, std::int64_t subclient_id) {
    if (!lock_withdrawn(connection, subclient_id)) return false;
    sql_statement find_objects(connection, "SELECT id FROM object WHERE share = ?1 ORDER BY guid LIMIT ?2");
    id_list objects = ids_of(connection, find_objects.bind(1, subclient_id).bind(2, objects_at_once));
    if (!objects.is_empty()) {
        const auto some_of = [&](const char* table, const char* owner) {
            const std::string sql = std::string("SELECT id FROM ") + table + " WHERE share = ?1 AND " +
                                    id_list::among(connection, owner, 2) + " LIMIT ?3";
            sql_statement find(connection, sql.c_str());
            return ids_of(connection, find.bind(1, subclient_id).bind(2, objects.bytes()).bind(3, rows_at_once));
        };
        object_removal rows(connection, subclient_id);
        if (rows.remove_extents(some_of("extent", "file")) == rows_at_once) return true;
        if (rows.remove_versions(some_of("version", "object")) == rows_at_once) return true;
        rows.remove_objects(objects);
        return true;
    }
    // Also what servers that had not heard of the removal yet have stored since.
    for (const char* sql :
         {"DELETE FROM token WHERE subclient_id = ?1", "DELETE FROM collect_transaction WHERE subclient_id = ?1",
          "DELETE FROM withdrawn_share WHERE subclient_id = ?1"})
        sql_statement(connection, sql).bind(1, subclient_id).run();
    return false;
}

}  // namespace index_server
