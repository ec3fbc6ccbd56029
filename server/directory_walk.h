// The pages of one directory as it is now, read along the index that has its children in their order: living first,
// then by version time, then by row.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "server/candidates.h"
#include "server/search_query.h"
#include "server/sql.h"
#include "server/walk_memory.h"

namespace index_server {

/// Prepared on one connection; the memory is shared by all and outlives this. locks: called inside a read transaction.
class directory_walk {
public:
    directory_walk(sql_connection& connection, walk_memory& memory);

    /// The page that the query asks for, of the children of the object `directory`. Each hit's end is the child's own.
    /// A child that is changed while a reader is on the way comes once, in the version that the reader meets first; one
    /// that is deleted meanwhile may come once more, as ended.
    std::vector<search_hit> page(const share& target, const search_query& query, std::int64_t directory);

private:
    walk begin(const search_query& query, std::int64_t directory);
    std::int64_t newest_row();
    /// Reads rows behind the walk's place, at most `most` of them, moves the place on and tells how many there were.
    std::size_t read_on(const search_query& query, walk& here, std::int64_t most, std::vector<search_hit>& hits);
    std::size_t take(sql_statement& rows, std::int64_t state, walk& here, std::vector<search_hit>& hits);
    bool was_listed(const walk& here, std::int64_t row);

    std::int64_t share_ = 0;
    walk_memory& memory_;
    sql_statement find_newest_;
    sql_statement find_place_;
    sql_statement rows_of_moment_;
    sql_statement rows_after_;
    sql_statement versions_of_row_;
};

}  // namespace index_server
