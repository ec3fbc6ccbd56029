// The removal of whole objects: what is told of them, their extents, and the rows that stand for them.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "server/administration.h"
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
    using binder = std::function<void(sql_statement&)>;

    /// `set` is a parenthesised SELECT of objects of the share ?1 that nothing names as parent; it has parameters 1 to
    /// `parameters`.
    object_removal(sql_connection& connection, const std::string& set, int parameters);

    /// Removes the objects of the set, whose parameters `bind` sets. False when a further step has to go on.
    bool remove(std::int64_t share, const binder& bind, removal_tally& tally);

private:
    const int limit_;
    sql_statement extent_properties_;
    sql_statement extents_;
    sql_statement properties_;
    sql_statement versions_;
    sql_statement object_;
};

}  // namespace index_server
