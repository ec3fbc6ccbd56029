// The tables of the storage.
#pragma once

#include "server/sql.h"

namespace index_server {

/// Makes the tables in a new database, or brings those of an older one up to date, in one storage transaction. Several
/// servers may do so at once. Failures are thrown as std::runtime_error, after a second or two in which the same was
/// tried again; one is that the database was written by a newer version of this program.
void prepare_schema(sql_connection& connection);

}  // namespace index_server
