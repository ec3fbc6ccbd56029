// The search for extents. A version of an extent ends when it is deleted, or when the newer version that took its place
// ends, so that the end of an extent does not bring an older version back. What ended its file ended the extent.
#include "server/extent_search.h"

#include "server/version_time.h"

namespace index_server {

extent_search::extent_search(sql_connection& connection, ancestry& ways_up)
    : ancestry_(ways_up),
      find_file_(connection, "SELECT id FROM object WHERE share = ?1 AND guid = ?2 AND guid <> ''"),
      versions_of_file_(connection,
                        "SELECT id, number, vtime, dtime, coalesce(data_type, 1) FROM extent "
                        "WHERE share = ?1 AND file = ?2 "
                        "ORDER BY number DESC, vtime DESC, arrival DESC"),
      page_not_backed_up_(connection,
                          "SELECT id, dtime FROM extent WHERE share = ?1 AND state < 2 AND backup_id IS NULL "
                          "AND ((1 << coalesce(data_type, 1)) & CAST(?2 AS BIGINT)) <> 0 "
                          "ORDER BY state, id LIMIT ?3 OFFSET ?4") {}

std::vector<search_hit> extent_search::of_file(const share& target, const search_query& query) {
    const statement_run run(find_file_);
    if (!find_file_.bind(1, target.subclient_id).bind(2, query.key_value).step()) return {};
    const std::int64_t file = find_file_.integer(0);
    versions_of_file_.bind(1, target.subclient_id).bind(2, file);
    ancestry_.begin(target, query);
    std::vector<candidate> candidates = collect(query, ancestry_.of(file).end_s);
    cut_page(query, candidates);
    std::vector<search_hit> hits;
    for (const candidate& chosen : candidates)
        hits.push_back({chosen.version, chosen.end_s, std::nullopt});
    return hits;
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
    std::vector<search_hit> hits;
    const statement_run run(page_not_backed_up_);
    page_not_backed_up_.bind(1, target.subclient_id).bind(2, std::int64_t{query.data_types});
    page_not_backed_up_.bind(3, query.page_size).bind(4, query.page_start);
    while (page_not_backed_up_.step())
        hits.push_back({page_not_backed_up_.integer(0), page_not_backed_up_.integer(1), std::nullopt});
    return hits;
}

}  // namespace index_server
