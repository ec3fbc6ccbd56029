// Pages of listings that no index has in their order: those of a past moment, of several directories, of groups. Such a
// listing is put in order whole for its first page; a browser's later pages come from what was kept of it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "server/candidates.h"
#include "server/search_query.h"
#include "server/walk_memory.h"

namespace index_server {

/// What a search has found, in no order, and the paths of the directories that the candidates name by number.
struct found_candidates {
    std::vector<candidate> candidates;
    std::vector<std::optional<std::string>> directories;
};

/// The page that the query asks for of what `find` finds. `find` is not called when the listing was kept. A find is
/// answered with one page and never kept.
std::vector<search_hit> listing_page(walk_memory& memory, const share& target, const search_query& query,
                                     const std::function<found_candidates()>& find);

}  // namespace index_server
