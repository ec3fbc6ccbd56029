// Shares, tokens and transaction records in the embedded database.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "server/engine.h"
#include "server/sqlite_db.h"

namespace index_server {

// Readers: locks: none, each is one statement on a connection of the caller's own.
std::vector<share> read_shares(sqlite_connection& connection);
std::optional<share> read_share_of_subclient(sqlite_connection& connection, std::int64_t subclient_id);
std::optional<share> read_share_of_name(sqlite_connection& connection, const std::string& name);
std::vector<token_grant> read_tokens(sqlite_connection& connection);
std::optional<transaction_record> read_transaction(sqlite_connection& connection, const std::string& id);
std::optional<transaction_record> read_last_transaction(sqlite_connection& connection, std::int64_t subclient_id);
std::vector<transaction_record> read_open_transactions(sqlite_connection& connection);

// Writers: locks: inside a write transaction.
/// Gives the share ids that no other has, and stores it.
share insert_share(sqlite_connection& connection, const std::string& name);
void insert_token(sqlite_connection& connection, const token_grant& grant);
/// Also forgets the oldest finished records of the share, once there are many.
void write_transaction(sqlite_connection& connection, const transaction_record& record);

}  // namespace index_server
