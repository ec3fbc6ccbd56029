// Lists directories.
#include "server/directory_listing.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include "server/version_time.h"

namespace index_server {

directory_listing::directory_listing(sql_connection& connection, history& versions)
    : history_(versions),
      page_of_directory_(connection,
                         "SELECT id, dtime FROM version WHERE share = ?1 AND parent = ?2 AND state < 2 "
                         "AND ((1 << coalesce(data_type, 1)) & CAST(?3 AS BIGINT)) <> 0 "
                         "ORDER BY state, vtime, id LIMIT ?4 OFFSET ?5") {}

std::vector<search_hit> directory_listing::page(const search_query& query,
                                                const std::vector<found_directory>& directories,
                                                const std::optional<std::string>& name) {
    if (can_page_in_index(query, directories.size()) && !name) return page_in_index(query, directories.front());
    std::vector<candidate> candidates = collect(query, directories, name);
    cut_page(query, candidates);
    std::vector<search_hit> hits;
    for (const candidate& chosen : candidates)
        hits.push_back({chosen.version, chosen.end_s, directories[chosen.directory].path});
    return hits;
}

std::vector<candidate> directory_listing::collect(const search_query& query,
                                                  const std::vector<found_directory>& directories,
                                                  const std::optional<std::string>& name) {
    std::vector<candidate> candidates;
    // Grouping is per path: the name below the path of its directory, which several directories can share.
    std::map<std::pair<std::optional<std::string_view>, std::string>, std::vector<candidate>> groups;
    const bool grouped = query.grouped_by == search_query::grouping::path;
    for (std::size_t i = 0; i < directories.size(); ++i) {
        const auto take = [&](const version_in_place& version) {
            if (!version.in_place || !in_range(query, version.vtime) || !type_wanted(query, version.data_type)) return;
            const std::int64_t end_s = earlier_end(directories[i].end_s, version.end_s);
            const candidate found{version.id, version.vtime, version.vtime, end_s, lives(query, end_s), i};
            if (grouped)
                groups[{directories[i].path, version.name}].push_back(found);
            else
                candidates.push_back(found);
        };
        const place_filter place{directories[i].object, name, query.fold_case};
        if (query.all_versions) {
            history_.all(place, [&](const std::vector<version_in_place>& versions) {
                std::for_each(versions.begin(), versions.end(), take);
            });
        } else {
            history_.newest(place, take);
        }
    }
    for (auto& [path, group] : groups) {
        cut_group(query, group);
        candidates.insert(candidates.end(), group.begin(), group.end());
    }
    return candidates;
}

/// The listing of one directory as it is now, which is asked for most, comes in order from an index: its later pages
/// then cost no sorting.
bool directory_listing::can_page_in_index(const search_query& query, std::size_t directories) const {
    return directories == 1 && !query.all_versions && !query.time && query.grouped_by == search_query::grouping::none &&
           !query.descending;
}

std::vector<search_hit> directory_listing::page_in_index(const search_query& query, const found_directory& where) {
    std::vector<search_hit> hits;
    const statement_run run(page_of_directory_);
    page_of_directory_.bind(1, share_).bind(2, where.object).bind(3, std::int64_t{query.data_types});
    page_of_directory_.bind(4, query.page_size).bind(5, query.page_start);
    while (page_of_directory_.step()) {
        const std::int64_t end_s = earlier_end(where.end_s, page_of_directory_.integer(1));
        hits.push_back({page_of_directory_.integer(0), end_s, where.path});
    }
    return hits;
}

}  // namespace index_server
