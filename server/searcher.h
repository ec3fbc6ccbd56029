// Answers understood requests: chooses the search for what is looked for and builds the items.
#pragma once

#include <string>
#include <vector>

#include "server/ancestry.h"
#include "server/directory_listing.h"
#include "server/engine.h"
#include "server/extent_results.h"
#include "server/extent_search.h"
#include "server/guid_search.h"
#include "server/history.h"
#include "server/path_search.h"
#include "server/result_builder.h"
#include "server/search_query.h"
#include "server/sql.h"
#include "server/walk_memory.h"

namespace index_server {

/// All searches, prepared on one connection; the memory is shared by all and outlives this. locks: called inside a read
/// transaction.
class searcher {
public:
    searcher(sql_connection& connection, walk_memory& memory);

    /// The text of a response with the page of items that the query asks for.
    std::string answer(const share& target, const search_query& query);

private:
    bool write(const share& target, const search_query& query, const std::vector<search_hit>& found, std::string& text);
    std::vector<search_hit> hits(const share& target, const search_query& query);

    walk_memory& memory_;
    history history_;
    directory_listing listing_;
    ancestry ancestry_;
    path_search paths_;
    guid_search guids_;
    extent_search extents_;
    result_builder results_;
    extent_results extent_results_;
};

}  // namespace index_server
