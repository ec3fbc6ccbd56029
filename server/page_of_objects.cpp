// Pages of a share's objects.
#include "server/page_of_objects.h"

namespace index_server {

void lock_share(sql_connection& connection, std::int64_t share) {
    // The embedded engine has one writer at a time.
    if (connection.dialect() == sql_dialect::sqlite) return;
    sql_statement(connection, "UPDATE share SET last_arrival = last_arrival WHERE subclient_id = ?1")
        .bind(1, share)
        .run();
}

std::string by_ids(const sql_connection& connection, const std::string& change) {
    return change + (connection.dialect() == sql_dialect::sqlite ? " WHERE id IN " : " WHERE share = ?1 AND id IN ");
}

std::int64_t run_and_count(sql_statement& statement) {
    std::int64_t count = 0;
    const statement_run run(statement);
    while (statement.step())
        ++count;
    return count;
}

page_of_objects::page_of_objects(sql_connection& connection, std::int64_t share, std::int64_t size)
    : share_(share),
      size_(size),
      find_last_(connection,
                 "SELECT guid FROM (SELECT guid FROM object WHERE share = ?1 AND guid > ?2 ORDER BY guid LIMIT ?3) p "
                 "ORDER BY guid DESC LIMIT 1") {}

bool page_of_objects::begin_after(const std::string& guid) {
    after_ = guid;
    const statement_run run(find_last_);
    if (!find_last_.bind(1, share_).bind(2, after_).bind(3, size_).step()) return false;
    last_ = find_last_.text(0);
    return true;
}

}  // namespace index_server
