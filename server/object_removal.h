// The removal of whole objects: what is told of them, their extents, and the rows that stand for them.
#pragma once

#include <cstdint>
#include <set>

#include "server/administration.h"
#include "server/id_list.h"
#include "server/sql.h"

namespace index_server {

/// What one step has done, and how much more it should do.
struct removal_tally {
    share_rows removed;
    std::int64_t rows_left = 0;
    std::set<std::int64_t> emptied;  ///< objects that stood, or had stood, around something removed
};

/// Prepared on one connection. locks: used inside a write transaction.
class object_removal {
public:
    object_removal(sql_connection& connection, std::int64_t share);

    /// Removes these objects, which no row names as parent. False when a further step has to go on.
    bool remove(id_list objects, removal_tally& tally);

    /// Removes versions, or versions of extents, with their properties; returns how many there were.
    std::uint64_t remove_versions(id_list versions);
    std::uint64_t remove_extents(id_list extents);

    /// Removes the rows that stand for objects of which nothing is left; returns how many there were.
    std::uint64_t remove_objects(id_list& objects);

private:
    std::uint64_t remove_rows(id_list& ids, sql_statement& properties, sql_statement& rows);

    sql_connection& connection_;
    const std::int64_t share_;
    sql_statement extents_of_;
    sql_statement extent_properties_;
    sql_statement extents_;
    sql_statement versions_of_;
    sql_statement version_properties_;
    sql_statement versions_;
    sql_statement objects_;
};

}  // namespace index_server
