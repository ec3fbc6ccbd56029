// The versions that stand in given directories, in the order that was asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "server/candidates.h"
#include "server/directory_walk.h"
#include "server/engine.h"
#include "server/history.h"
#include "server/listing_pages.h"
#include "server/search_query.h"
#include "server/sql.h"

namespace index_server {

/// A directory that a search has led to.
struct found_directory {
    std::int64_t object = 0;
    std::int64_t end_s = 0;           ///< when it, or one above it, ended; 0 for not at all
    std::optional<std::string> path;  ///< without a slash at its end; nothing if unknown
};

/// Prepared on one connection, whose history is passed in and outlives this, as does the memory, which all share.
/// locks: called inside a read transaction.
class directory_listing {
public:
    directory_listing(sql_connection& connection, walk_memory& memory, history& versions);

    /// The page of what stands in the directories, or of what has the name there.
    std::vector<search_hit> page(const share& target, const search_query& query,
                                 const std::vector<found_directory>& directories,
                                 const std::optional<std::string>& name);

private:
    std::vector<candidate> collect(const search_query& query, const std::vector<found_directory>& directories,
                                   const std::optional<std::string>& name);

    walk_memory& memory_;
    history& history_;
    directory_walk walk_;
};

}  // namespace index_server
