// The tables of the embedded engine.
#pragma once

#include "server/sqlite_db.h"

namespace index_server {

/// Makes the tables in a new database, or brings those of an older one up to date, in one storage transaction. Throws
/// std::runtime_error when the database was written by a newer version of this program.
void prepare_schema(sqlite_connection& connection);

}  // namespace index_server
