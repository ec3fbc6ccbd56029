// What all relational stores of rows have in common: the share's own row.
#pragma once

#include "server/row_store.h"
#include "server/sql.h"

namespace index_server {

/// Prepared on one connection, which it must not outlive.
class share_row_store : public row_store {
public:
    explicit share_row_store(sql_connection& connection);

    std::int64_t begin(std::int64_t share) override;
    void keep_arrival(std::int64_t last) override;
    std::int64_t reserve_ids(id_kind kind, std::size_t count) override;

private:
    sql_statement lock_share_;
    sql_statement write_arrival_;
    sql_statement last_object_;
    sql_statement last_version_;
    sql_statement last_extent_;
};

}  // namespace index_server
