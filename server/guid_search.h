// Finds the versions of the object that a GUID names, or those that stand in the directory that it names.
#pragma once

#include <cstdint>
#include <vector>

#include "server/ancestry.h"
#include "server/candidates.h"
#include "server/directory_listing.h"
#include "server/engine.h"
#include "server/history.h"
#include "server/search_query.h"
#include "server/sql.h"

namespace index_server {

/// Prepared on one connection, as are the parts that are passed in, which outlive this. locks: called inside a read
/// transaction.
class guid_search {
public:
    guid_search(sql_connection& connection, history& versions, directory_listing& listing, ancestry& ways_up);

    /// The page of the object's versions. An object that no path leads to is found all the same.
    std::vector<search_hit> versions_of(const share& target, const search_query& query);
    /// The page of the directory's children.
    std::vector<search_hit> children_of(const share& target, const search_query& query);

private:
    std::int64_t object_of(const share& target, const std::string& guid);

    history& history_;
    directory_listing& listing_;
    ancestry& ancestry_;
    sql_statement find_object_;
};

}  // namespace index_server
