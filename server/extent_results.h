// Writes found versions of extents as the items of a search response.
#pragma once

#include <span>

#include "hostkit/message_stream.h"
#include "server/candidates.h"
#include "server/engine.h"
#include "server/hit_rows.h"
#include "server/search_query.h"
#include "server/sql.h"

namespace index_server {

/// Prepared on one connection. locks: called inside the read transaction that the hits come from.
class extent_results {
public:
    explicit extent_results(sql_connection& connection);

    /// As result_builder::write. An extent has no name and no path of its own; its parent is its file.
    bool write(const share& target, const search_query& query, std::span<const search_hit> hits,
               hostkit::message_stream& into);

private:
    hit_rows rows_;
};

}  // namespace index_server
