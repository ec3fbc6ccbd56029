// The search by GUID. What ended above an object ends the object, as in a search by path.
#include "server/guid_search.h"

#include <algorithm>
#include <string>

#include "server/version_time.h"

namespace index_server {

guid_search::guid_search(sql_connection& connection, history& versions, directory_listing& listing, ancestry& ways_up)
    : history_(versions),
      listing_(listing),
      ancestry_(ways_up),
      find_object_(connection, "SELECT id FROM object WHERE share = ?1 AND guid = ?2 AND guid <> ''") {}

/// 0 when nothing was ever told of the GUID.
std::int64_t guid_search::object_of(const share& target, const std::string& guid) {
    const statement_run run(find_object_);
    return find_object_.bind(1, target.subclient_id).bind(2, guid).step() ? find_object_.integer(0) : 0;
}

std::vector<search_hit> guid_search::children_of(const share& target, const search_query& query) {
    const std::int64_t object = object_of(target, query.key_value);
    if (object == 0) return {};
    ancestry_.begin(query);
    const standing& where = ancestry_.of(object);
    return listing_.page(target, query, {{object, where.end_s, where.path}}, std::nullopt);
}

std::vector<search_hit> guid_search::versions_of(const share& target, const search_query& query) {
    const std::int64_t object = object_of(target, query.key_value);
    if (object == 0) return {};
    ancestry_.begin(query);
    std::vector<version_in_place> versions;
    if (query.all_versions)
        versions = history_.all_of(object);
    else if (auto newest = history_.newest_of(object))
        versions.push_back(std::move(*newest));

    std::vector<candidate> candidates;
    for (std::size_t i = 0; i < versions.size(); ++i) {
        const version_in_place& version = versions[i];
        if (!in_range(query, version.vtime) || !type_wanted(query, version.data_type)) continue;
        const std::int64_t above_s = version.parent == 0 ? 0 : ancestry_.of(version.parent).end_s;
        const std::int64_t end_s = earlier_end(above_s, version.end_s);
        candidates.push_back({version.id, version.vtime, version.vtime, end_s, lives(query, end_s), i});
    }
    sort_candidates(query, candidates);
    std::vector<search_hit> hits;
    const auto total = static_cast<std::int64_t>(candidates.size());
    for (std::int64_t i = query.page_start; i < total && i - query.page_start < query.page_size; ++i) {
        const candidate& chosen = candidates[static_cast<std::size_t>(i)];
        const std::int64_t parent = versions[chosen.directory].parent;
        hits.push_back({chosen.version, chosen.end_s, parent == 0 ? std::nullopt : ancestry_.of(parent).path});
    }
    return hits;
}

}  // namespace index_server
