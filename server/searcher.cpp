// Chooses the search.
#include "server/searcher.h"

namespace index_server {

searcher::searcher(sql_connection& connection, walk_memory& memory)
    : memory_(memory),
      history_(connection),
      listing_(connection, memory, history_),
      ancestry_(connection, history_),
      paths_(connection, history_, listing_),
      guids_(connection, history_, listing_, ancestry_),
      extents_(connection, memory, ancestry_),
      results_(connection),
      extent_results_(connection) {}

std::vector<KT5ContentIndexing::GResultItem> searcher::items(const share& target, const search_query& query) {
    history_.begin(target);
    results_.begin(target);
    extent_results_.begin(target);
    std::vector<KT5ContentIndexing::GResultItem> built;
    if (build(query, hits(target, query), built)) return built;
    // What was kept of the listing names rows that were purged since. A page with gaps would be taken for the last one.
    memory_.forget(listing_key(target, query));
    built.clear();
    build(query, hits(target, query), built);
    return built;
}

/// False when a row is not there any more.
bool searcher::build(const search_query& query, const std::vector<search_hit>& found,
                     std::vector<KT5ContentIndexing::GResultItem>& built) {
    built.reserve(found.size());
    for (const search_hit& hit : found) {
        KT5ContentIndexing::GResultItem& item = built.emplace_back();
        if (!(query.extents ? extent_results_.fill(query, hit, item) : results_.fill(query, hit, item))) return false;
    }
    return true;
}

std::vector<search_hit> searcher::hits(const share& target, const search_query& query) {
    using key = search_query::key;
    if (query.matches_nothing) return {};
    switch (query.what) {
        case key::exact_path:
        case key::browse_path:
            return paths_.page(target, query);
        case key::parent_guid:
            return query.extents ? extents_.of_file(target, query) : guids_.children_of(target, query);
        case key::content_id:
            return guids_.versions_of(target, query);
        case key::not_backed_up:
            return extents_.not_backed_up(target, query);
        case key::none:
            break;
    }
    return {};
}

}  // namespace index_server
