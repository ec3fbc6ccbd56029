// Chooses the search.
#include "server/searcher.h"

#include <algorithm>
#include <span>

#include "hostkit/message_stream.h"

namespace index_server {

namespace {

/// Room for a usual item.
constexpr std::size_t item_bytes = 512;

}  // namespace

searcher::searcher(sql_connection& connection, walk_memory& memory)
    : memory_(memory),
      history_(connection),
      listing_(connection, memory, history_),
      ancestry_(history_),
      paths_(history_, listing_),
      guids_(connection, history_, listing_, ancestry_),
      extents_(connection, memory, ancestry_),
      results_(connection),
      extent_results_(connection) {}

std::string searcher::answer(const share& target, const search_query& query) {
    history_.begin(target);
    std::string text;
    if (write(target, query, hits(target, query), text)) return text;
    // What was kept of the listing names rows that were purged since. A page with gaps would be taken for the last one.
    memory_.forget(listing_key(target, query));
    text.clear();
    write(target, query, hits(target, query), text);
    return text;
}

/// False when a row is not there any more.
bool searcher::write(const share& target, const search_query& query, const std::vector<search_hit>& found,
                     std::string& text) {
    text.reserve(found.size() * item_bytes);
    hostkit::message_stream into(text, 14, 171);
    into.open(7, 13);
    for (std::span<const search_hit> rest = found; !rest.empty();) {
        const auto some = rest.first(std::min(rest.size(), hit_rows::at_once));
        rest = rest.subspan(some.size());
        if (!(query.extents ? extent_results_.write(target, query, some, into)
                            : results_.write(target, query, some, into)))
            return false;
    }
    into.close();
    into.close();
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
