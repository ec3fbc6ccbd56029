// Finds the versions that a path names, or that stand in the directory that it names, in the order that was asked for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "server/engine.h"
#include "server/history.h"
#include "server/search_query.h"
#include "server/sqlite_db.h"

namespace index_server {

/// One version that an answer holds.
struct search_hit {
    std::int64_t version = 0;
    std::int64_t end_s = 0;  ///< when it ended in its place, seconds; 0 for not at all
    std::string directory;   ///< path of the directory, without a slash at its end
};

/// Prepared on one connection. locks: called inside a read transaction.
class path_search {
public:
    explicit path_search(sqlite_connection& connection);

    /// The page of hits that the query asks for. Throws std::runtime_error for a path that leads through more
    /// directories than are followed.
    std::vector<search_hit> page(const share& target, const search_query& query);

private:
    struct directory {
        std::int64_t object = 0;
        std::int64_t end_s = 0;
        std::string path;
    };
    struct candidate {
        std::int64_t version = 0;
        std::int64_t vtime = 0;
        std::int64_t end_s = 0;
        bool living = false;
        std::size_t directory = 0;
    };

    std::vector<directory> walk(const share& target, const search_query& query, const std::vector<std::string>& names);
    void step_down(const search_query& query, const directory& from, const std::string& name,
                   std::vector<directory>& found);
    std::vector<candidate> collect(const search_query& query, const std::vector<directory>& directories,
                                   const std::optional<std::string>& name);
    bool can_page_in_index(const search_query& query, std::size_t directories) const;
    std::vector<search_hit> page_in_index(const search_query& query, const directory& where);

    history history_;
    sqlite_statement find_top_;
    sqlite_statement page_of_directory_;
};

}  // namespace index_server
