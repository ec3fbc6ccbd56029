// Databases of the first versions of this program, which all were embedded ones.
#pragma once

#include <functional>

#include "server/sql.h"

namespace index_server {

/// Brings a database of version 1, 2 or 3 to the present one; `make_index_tables` makes the tables that hold the index.
/// locks: inside a write transaction.
void upgrade_sqlite(sql_connection& connection, std::int64_t found, const std::function<void()>& make_index_tables);

}  // namespace index_server
