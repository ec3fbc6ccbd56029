// The choice of a store.
#include "server/row_store.h"

#include "server/postgresql_row_store.h"
#include "server/sqlite_row_store.h"

namespace index_server {

std::unique_ptr<row_store> make_row_store(sql_connection& connection) {
    if (connection.dialect() == sql_dialect::postgresql) return std::make_unique<postgresql_row_store>(connection);
    return std::make_unique<sqlite_row_store>(connection);
}

}  // namespace index_server
