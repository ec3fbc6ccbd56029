// The embedded database as a storage.
#pragma once

#include <memory>
#include <string>

#include "server/sql.h"

namespace index_server {

/// Opens the database file. For writing it is made when missing, keeps a write-ahead log and syncs at each commit; a
/// connection for reading never waits for the one that writes.
std::unique_ptr<sql_connection> open_sqlite(const std::string& path, sql_access what);

}  // namespace index_server
