// Cutting of pages.
#include "server/listing_pages.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace index_server {

namespace {

std::vector<search_hit> cut(const kept_listing& listing, std::size_t first, std::size_t last) {
    std::vector<search_hit> hits;
    hits.reserve(last - first);
    for (std::size_t i = first; i < last; ++i) {
        const kept_listing::entry& entry = listing.entries[i];
        hits.push_back({entry.version, entry.end_s, listing.directories[entry.directory]});
    }
    return hits;
}

std::shared_ptr<const kept_listing> in_order(const search_query& query, found_candidates found) {
    sort_candidates(query, found.candidates);
    auto listing = std::make_shared<kept_listing>();
    listing->directories = std::move(found.directories);
    if (listing->directories.empty()) listing->directories.emplace_back();
    listing->entries.reserve(found.candidates.size());
    for (const candidate& one : found.candidates)
        listing->entries.push_back({one.version, one.end_s, static_cast<std::uint32_t>(one.directory)});
    return listing;
}

bool is_find(const search_query& query) {
    return query.what == search_query::key::exact_path || query.what == search_query::key::content_id;
}

}  // namespace

std::vector<search_hit> listing_page(walk_memory& memory, const share& target, const search_query& query,
                                     const std::function<found_candidates()>& find) {
    const std::string key = listing_key(target, query);
    std::optional<walk> known = memory.resume(key, query.page_start);
    if (!known || !known->listing) {
        known.emplace().listing = in_order(query, find());
        known->place.row = query.page_start;
    }
    const walk_place from = known->place;
    const std::size_t total = known->listing->entries.size();
    const std::size_t first = std::min(static_cast<std::size_t>(from.row), total);
    const std::size_t last = std::min(first + static_cast<std::size_t>(query.page_size), total);
    if (last < total && !is_find(query)) {
        known->place.row = static_cast<std::int64_t>(last);
        memory.keep(key, *known, query.page_start + query.page_size, query.page_start, from);
    }
    return cut(*known->listing, first, last);
}

}  // namespace index_server
