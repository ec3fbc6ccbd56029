// Turns found versions of extents into the items of a search response.
#pragma once

#include "host/message_classes.h"
#include "server/candidates.h"
#include "server/engine.h"
#include "server/search_query.h"
#include "server/sql.h"

namespace index_server {

/// Prepared on one connection. locks: called inside the read transaction that the hits come from.
class extent_results {
public:
    explicit extent_results(sql_connection& connection);

    /// Begins the answer of one search.
    void begin(const share& target) { share_ = target.subclient_id; }

    /// An extent has no name and no path of its own; its parent is its file. False when the row is not there.
    bool fill(const search_query& query, const search_hit& hit, KT5ContentIndexing::GResultItem& item);

private:
    void fill_attributes(const search_query& query, const search_hit& hit, CNMessageBase& attributes);
    void fill_properties(const search_query& query, const search_hit& hit, KT5ContentIndexing::GResultItem& item);

    std::int64_t share_ = 0;
    sql_statement read_extent_;
    sql_statement read_properties_;
};

}  // namespace index_server
