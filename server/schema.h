// The tables of the storage.
#pragma once

#include "server/sql.h"

namespace index_server {

/// Makes the tables in a new database, or brings those of an older one up to date, in one storage transaction. Throws
/// std::runtime_error when the database was written by a newer version of this program.
void prepare_schema(sql_connection& connection);

}  // namespace index_server
