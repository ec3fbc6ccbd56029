// Cutting of pages.
#include "server/listing_pages.h"

#include <memory>
#include <utility>

namespace index_server {

namespace {

std::vector<search_hit> cut(const kept_listing& listing, std::int64_t from, std::int64_t size) {
    const auto total = static_cast<std::int64_t>(listing.entries.size());
    std::vector<search_hit> hits;
    for (std::int64_t i = from; i < total && i - from < size; ++i) {
        const kept_listing::entry& entry = listing.entries[static_cast<std::size_t>(i)];
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
    if (is_find(query)) return cut(*in_order(query, find()), query.page_start, query.page_size);
    const std::string key = listing_key(target, query);
    std::optional<walk> known = memory.resume(key, query.page_start);
    if (!known || !known->listing) {
        known.emplace().listing = in_order(query, find());
        known->place.row = query.page_start;
    }
    const walk_place from = known->place;
    std::vector<search_hit> hits = cut(*known->listing, from.row, query.page_size);
    const std::int64_t next = from.row + static_cast<std::int64_t>(hits.size());
    if (next < static_cast<std::int64_t>(known->listing->entries.size())) {
        known->place.row = next;
        memory.keep(key, *known, query.page_start + query.page_size, query.page_start, from);
    }
    return hits;
}

}  // namespace index_server
