// Turns found versions into the items of a search response.
#pragma once

#include <string>

#include "host/message_classes.h"
#include "server/candidates.h"
#include "server/engine.h"
#include "server/search_query.h"
#include "server/sql.h"

namespace index_server {

/// Prepared on one connection. locks: called inside the read transaction that the hits come from.
class result_builder {
public:
    explicit result_builder(sql_connection& connection);

    /// Begins the answer of one search.
    void begin(const share& target) { share_ = target.subclient_id; }

    /// False when the row is not there.
    bool fill(const search_query& query, const search_hit& hit, KT5ContentIndexing::GResultItem& item);

private:
    void fill_attributes(const search_query& query, const search_hit& hit, CNMessageBase& attributes);
    void fill_properties(const search_query& query, const search_hit& hit, KT5ContentIndexing::GResultItem& item);

    std::int64_t share_ = 0;
    sql_statement read_version_;
    sql_statement read_properties_;
};

/// Adds an entry to the response's errors, which makes the search a failed one.
void add_search_error(KT5ContentIndexing::ZYSearchResp& response, int code, const std::string& text);

}  // namespace index_server
