// The share's row, and the numbers that its other rows get.
#include "server/share_row_store.h"

#include <stdexcept>

#include "server/sql_records.h"

namespace index_server {

namespace {

std::int64_t only_number(sql_statement& statement) {
    const statement_run run(statement);
    return statement.step() ? statement.integer(0) : 0;
}

}  // namespace

share_row_store::share_row_store(sql_connection& connection)
    : lock_share_(connection,
                  "UPDATE share SET last_arrival = last_arrival WHERE subclient_id = ?1 RETURNING last_arrival"),
      write_arrival_(connection, "UPDATE share SET last_arrival = ?2 WHERE subclient_id = ?1"),
      last_object_(connection, last_id_sql(connection, "object").c_str()),
      last_version_(connection, last_id_sql(connection, "version").c_str()),
      last_extent_(connection, last_id_sql(connection, "extent").c_str()) {}

std::int64_t share_row_store::begin(std::int64_t share) {
    for (sql_statement* statement : {&lock_share_, &write_arrival_, &last_object_, &last_version_, &last_extent_})
        statement->bind(1, share);
    const statement_run run(lock_share_);
    // Another server may have removed it meanwhile; rows of it would be nobody's.
    if (!lock_share_.step()) throw std::runtime_error("the share is not registered any more");
    return lock_share_.integer(0);
}

void share_row_store::keep_arrival(std::int64_t last) {
    write_arrival_.bind(2, last).run();
}

std::int64_t share_row_store::reserve_ids(id_kind kind, std::size_t) {
    // Nobody else adds rows that these numbers are for before this transaction ends.
    switch (kind) {
        case id_kind::object:
            return only_number(last_object_) + 1;
        case id_kind::version:
            return only_number(last_version_) + 1;
        case id_kind::extent:
            break;
    }
    return only_number(last_extent_) + 1;
}

}  // namespace index_server
