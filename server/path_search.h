// Finds the versions that a path names, or that stand in the directory that it names, in the order that was asked for.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "server/directory_listing.h"
#include "server/engine.h"
#include "server/history.h"
#include "server/search_query.h"

namespace index_server {

/// Thrown for a path that leads through more directories than are followed.
class too_many_directories : public std::runtime_error {
public:
    too_many_directories() : std::runtime_error("the path leads through too many directories") {}
};

/// Works on the history and the listing of one connection, which outlive this. locks: called inside a read
/// transaction.
class path_search {
public:
    path_search(history& versions, directory_listing& listing) : history_(versions), listing_(listing) {}

    /// The page of hits that the query asks for. Throws too_many_directories.
    std::vector<search_hit> page(const share& target, const search_query& query);

private:
    std::vector<found_directory> walk(const search_query& query, const std::vector<std::string>& names);
    void step_down(const search_query& query, const found_directory& from, const std::string& name,
                   std::vector<found_directory>& found);

    history& history_;
    directory_listing& listing_;
};

}  // namespace index_server
