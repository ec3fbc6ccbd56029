// Writes found versions as the items of a search response.
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
class result_builder {
public:
    explicit result_builder(sql_connection& connection);

    /// Writes the hits, at most hit_rows::at_once of them, into an open result set. False when a row is not there; what
    /// was written until then is of no use.
    bool write(const share& target, const search_query& query, std::span<const search_hit> hits,
               hostkit::message_stream& into);

private:
    hit_rows rows_;
};

}  // namespace index_server
