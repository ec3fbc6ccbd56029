// Lists directories.
#include "server/directory_listing.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include "server/version_time.h"

namespace index_server {

namespace {

/// The listing of one directory as it is now, which is asked for most, comes in order from an index.
bool stands_in_index(const search_query& query, std::size_t directories) {
    return directories == 1 && !query.all_versions && !query.time && query.grouped_by == search_query::grouping::none &&
           !query.descending;
}

}  // namespace

directory_listing::directory_listing(sql_connection& connection, walk_memory& memory, history& versions)
    : memory_(memory), history_(versions), walk_(connection, memory) {}

std::vector<search_hit> directory_listing::page(const share& target, const search_query& query,
                                                const std::vector<found_directory>& directories,
                                                const std::optional<std::string>& name) {
    if (!name && stands_in_index(query, directories.size())) {
        const found_directory& where = directories.front();
        std::vector<search_hit> hits = walk_.page(target, query, where.object);
        for (search_hit& hit : hits) {
            hit.end_s = earlier_end(where.end_s, hit.end_s);
            hit.directory = where.path;
        }
        return hits;
    }
    return listing_page(memory_, target, query, [&] {
        found_candidates found{collect(query, directories, name), {}};
        for (const found_directory& directory : directories)
            found.directories.push_back(directory.path);
        return found;
    });
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

}  // namespace index_server
