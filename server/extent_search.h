// Finds the extents of a file, or those of a share that have no backup data yet.
#pragma once

#include <vector>

#include "server/ancestry.h"
#include "server/candidates.h"
#include "server/engine.h"
#include "server/listing_pages.h"
#include "server/search_query.h"
#include "server/sql.h"

namespace index_server {

/// Prepared on one connection, whose ways up are passed in and outlive this, as does the memory, which all share.
/// locks: called inside a read transaction.
class extent_search {
public:
    extent_search(sql_connection& connection, walk_memory& memory, ancestry& ways_up);

    /// The page of the file's extents. With groups, all versions in the range count; without, and without all versions,
    /// the newest of each extent alone.
    std::vector<search_hit> of_file(const share& target, const search_query& query);
    /// The page of the share's extents without a backup id, in their newest version, those that ended at the end.
    std::vector<search_hit> not_backed_up(const share& target, const search_query& query);

private:
    std::vector<candidate> collect(const search_query& query, std::int64_t file_end_s);

    walk_place place_of(const share& target, const search_query& query);

    walk_memory& memory_;
    ancestry& ancestry_;
    sql_statement find_file_;
    sql_statement versions_of_file_;
    sql_statement rows_to_back_up_;
    sql_statement find_place_;
};

}  // namespace index_server
