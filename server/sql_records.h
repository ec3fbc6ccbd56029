// Shares, tokens and transaction records in the storage.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "server/engine.h"
#include "server/sql.h"

namespace index_server {

/// The columns of a transaction record, first in a statement whose rows transaction_row reads.
inline constexpr const char* transaction_columns = "id, subclient_id, status, error, created_ns, lines, server";
inline constexpr int transaction_column_count = 7;
transaction_record transaction_row(const sql_statement& row);

// Readers: locks: none, each is one statement on a connection of the caller's own.
std::vector<share> read_shares(sql_connection& connection);
std::optional<share> read_share_of_subclient(sql_connection& connection, std::int64_t subclient_id);
std::optional<share> read_share_of_name(sql_connection& connection, const std::string& name);
std::vector<token_grant> read_tokens(sql_connection& connection);
/// One that another server took and did not end counts as failed: this one cannot end it, and the host that asks here
/// is to send its file again.
std::optional<transaction_record> read_transaction(sql_connection& connection, const std::string& id,
                                                   const std::string& server);
std::optional<transaction_record> read_last_transaction(sql_connection& connection, std::int64_t subclient_id,
                                                        const std::string& server);
/// Those that the server took.
std::vector<transaction_record> read_open_transactions(sql_connection& connection, const std::string& server);

/// A statement that gives the highest id of a table in the share ?1, or one that no row of it exceeds.
std::string last_id_sql(const sql_connection& connection, const std::string& table);

// Writers: locks: inside a write transaction.
/// Gives a share of that name ids that no other has, and stores it. Nothing when another server was faster: at the
/// name, or by a rare chance at one of the ids.
std::optional<share> insert_share(sql_connection& connection, const std::string& name);
void insert_token(sql_connection& connection, const token_grant& grant);
void delete_token(sql_connection& connection, const token_grant& grant);
/// `server` took it. Also forgets the oldest finished records of the share, once there are many.
void write_transaction(sql_connection& connection, const transaction_record& record, const std::string& server);

}  // namespace index_server
