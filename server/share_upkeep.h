// The administration of single shares in the storage: counts, lists of transactions, backup ids, withdrawal.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "server/administration.h"
#include "server/sql.h"

namespace index_server {

// The operations of `administration` of the same names, each inside one transaction of the connection.
share_rows rows_of_share(sql_connection& connection, const share& of);
std::vector<listed_transaction> read_transactions_before(sql_connection& connection,
                                                         std::optional<std::int64_t> subclient_id, std::int64_t place,
                                                         std::int64_t most);
/// Throws std::invalid_argument for a place that no step told.
backup_mark_step mark_extents(sql_connection& connection, const share& of, std::int64_t backup_id,
                              std::optional<std::int64_t> up_to_s, const step_place& from);
void withdraw_share(sql_connection& connection, const share& gone);
std::vector<std::int64_t> read_withdrawn_shares(sql_connection& connection);
bool remove_share_rows(sql_connection& connection, std::int64_t subclient_id);

}  // namespace index_server
