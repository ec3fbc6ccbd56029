// The search for extents. A version of an extent ends when it is deleted, or when the newer version that took its place
// ends, so that the end of an extent does not bring an older version back. What ended its file ended the extent.
#include "server/extent_search.h"

#include "server/version_time.h"

namespace index_server {

namespace {

#define IIF_TO_BACK_UP \
    "WHERE share = ?1 AND backup_id IS NULL AND ((1 << coalesce(data_type, 1)) & CAST(?2 AS BIGINT)) <> 0 "
constexpr const char* rows_to_back_up_sql =
    "SELECT id, dtime FROM extent " IIF_TO_BACK_UP "AND state = ?3 AND state < 2 AND id > ?4 ORDER BY id LIMIT ?5";
constexpr const char* find_place_sql =
    "SELECT state, id FROM extent " IIF_TO_BACK_UP "AND state < 2 ORDER BY state, id LIMIT 1 OFFSET ?3";
#undef IIF_TO_BACK_UP
constexpr std::int64_t ended = 1;

}  // namespace

extent_search::extent_search(sql_connection& connection, walk_memory& memory, ancestry& ways_up)
    : memory_(memory),
      ancestry_(ways_up),
      find_file_(connection, "SELECT id FROM object WHERE share = ?1 AND guid = ?2 AND guid <> ''"),
      versions_of_file_(connection,
                        "SELECT id, number, vtime, dtime, coalesce(data_type, 1) FROM extent "
                        "WHERE share = ?1 AND file = ?2 "
                        "ORDER BY number DESC, vtime DESC, arrival DESC"),
      rows_to_back_up_(connection, rows_to_back_up_sql),
      find_place_(connection, find_place_sql) {}

std::vector<search_hit> extent_search::of_file(const share& target, const search_query& query) {
    const statement_run run(find_file_);
    if (!find_file_.bind(1, target.subclient_id).bind(2, query.key_value).step()) return {};
    const std::int64_t file = find_file_.integer(0);
    versions_of_file_.bind(1, target.subclient_id).bind(2, file);
    ancestry_.begin(query);
    return listing_page(memory_, target, query, [&] {
        return found_candidates{collect(query, ancestry_.of(file).end_s), {}};
    });
}

std::vector<candidate> extent_search::collect(const search_query& query, std::int64_t file_end_s) {
    const bool grouped = query.grouped_by == search_query::grouping::extent_number;
    std::vector<candidate> candidates;
    std::vector<candidate> group;
    const auto close_group = [&] {
        if (grouped) cut_group(query, group);
        candidates.insert(candidates.end(), group.begin(), group.end());
        group.clear();
    };
    const statement_run run(versions_of_file_);
    bool first = true;
    std::int64_t number = 0, newer_end_s = 0;
    while (versions_of_file_.step()) {
        const bool is_newest = first || versions_of_file_.integer(1) != number;
        if (is_newest) close_group();
        first = false;
        number = versions_of_file_.integer(1);
        const std::int64_t vtime = versions_of_file_.integer(2);
        const std::int64_t own_end_s = versions_of_file_.integer(3);
        newer_end_s = is_newest ? own_end_s : earlier_end(own_end_s, newer_end_s);
        if (!is_newest && !grouped && !query.all_versions) continue;
        if (!in_range(query, vtime) || !type_wanted(query, versions_of_file_.integer(4))) continue;
        const std::int64_t end_s = earlier_end(file_end_s, newer_end_s);
        const std::int64_t rank = query.by_extent_number ? number : vtime;
        group.push_back({versions_of_file_.integer(0), vtime, rank, end_s, lives(query, end_s)});
    }
    close_group();
    return candidates;
}

std::vector<search_hit> extent_search::not_backed_up(const share& target, const search_query& query) {
    const std::string listing = listing_key(target, query);
    std::optional<walk> known = memory_.resume(listing, query.page_start);
    walk here = known ? *known : walk{.place = place_of(target, query)};
    const walk_place from = here.place;
    std::vector<search_hit> hits;
    for (; here.place.state <= ended; here.place = {here.place.state + 1, 0, 0}) {
        const std::int64_t wanted = query.page_size - static_cast<std::int64_t>(hits.size());
        const statement_run run(rows_to_back_up_);
        rows_to_back_up_.bind(1, target.subclient_id).bind(2, std::int64_t{query.data_types});
        rows_to_back_up_.bind(3, here.place.state).bind(4, here.place.row).bind(5, wanted);
        while (rows_to_back_up_.step()) {
            hits.push_back({rows_to_back_up_.integer(0), rows_to_back_up_.integer(1), std::nullopt});
            here.place.row = rows_to_back_up_.integer(0);
        }
        if (static_cast<std::int64_t>(hits.size()) == query.page_size) {
            memory_.keep(listing, here, query.page_start + query.page_size, query.page_start, from);
            break;
        }
    }
    return hits;
}

/// The place before the page, counted from the front.
walk_place extent_search::place_of(const share& target, const search_query& query) {
    if (query.page_start == 0) return {};
    const statement_run run(find_place_);
    find_place_.bind(1, target.subclient_id).bind(2, std::int64_t{query.data_types}).bind(3, query.page_start - 1);
    if (find_place_.step()) return {find_place_.integer(0), 0, find_place_.integer(1)};
    return {ended + 1, 0, 0};
}

}  // namespace index_server
