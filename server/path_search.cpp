// The search by path.
//
// A path is walked down from above the share's root by (parent, name). Every directory that matches a name is followed:
// one name can stand for several when a directory was deleted and made anew, or when case is ignored. What ended above
// ends what is below, if that did not end earlier by itself.
//
// In every order the versions that live at the asked moment come before the ended ones, so that a short page never
// hides the living behind the dead. The row id settles ties, so that pages neither overlap nor leave gaps.
#include "server/path_search.h"

#include <algorithm>
#include <limits>
#include <map>
#include <stdexcept>

#include "server/version_time.h"

namespace index_server {

namespace {

// A path names more directories than this only where someone built it to be costly.
constexpr std::size_t max_directories = 10000;

std::vector<std::string> names_of(const std::string& path) {
    std::vector<std::string> names;
    std::size_t at = 0;
    while (at < path.size()) {
        const std::size_t slash = std::min(path.find('/', at), path.size());
        if (slash > at) names.push_back(path.substr(at, slash - at));
        at = slash + 1;
    }
    return names;
}

/// The last nanosecond of the time asked about.
std::int64_t asked_ns(const search_query& query) {
    return query.time ? last_ns_of(query.time->high_s) : std::numeric_limits<std::int64_t>::max();
}

bool lives(const search_query& query, std::int64_t end_s) {
    return end_s == 0 || (query.time && end_s > query.time->high_s);
}

bool type_wanted(const search_query& query, std::int64_t data_type) {
    return data_type >= 0 && data_type < 32 && ((query.data_types >> data_type) & 1u) != 0;
}

bool in_range(const search_query& query, std::int64_t vtime) {
    return !query.time || (vtime >= first_ns_of(query.time->low_s) && vtime <= last_ns_of(query.time->high_s));
}

}  // namespace

path_search::path_search(sqlite_connection& connection)
    : history_(connection),
      find_top_(connection, "SELECT id FROM object WHERE share = ?1 AND guid = ''"),
      page_of_directory_(connection,
                         "SELECT id, dtime FROM version WHERE parent = ?1 AND state < 2 "
                         "AND ((1 << coalesce(data_type, 1)) & ?2) <> 0 "
                         "ORDER BY state, vtime, id LIMIT ?3 OFFSET ?4") {}

std::vector<search_hit> path_search::page(const share& target, const search_query& query) {
    std::vector<search_hit> hits;
    std::vector<std::string> names = names_of(query.path);
    if (query.matches_nothing || names.empty()) return hits;
    std::optional<std::string> leaf;
    if (query.what == search_query::key::exact_path) {
        leaf = names.back();
        names.pop_back();
    }
    const std::vector<directory> directories = walk(target, query, names);
    if (can_page_in_index(query, directories.size()) && !leaf) return page_in_index(query, directories.front());

    std::vector<candidate> candidates = collect(query, directories, leaf);
    std::sort(candidates.begin(), candidates.end(), [&](const candidate& a, const candidate& b) {
        if (a.living != b.living) return a.living;
        if (a.vtime != b.vtime) return (a.vtime < b.vtime) != query.descending;
        return (a.version < b.version) != query.descending && a.version != b.version;
    });
    const auto total = static_cast<std::int64_t>(candidates.size());
    const std::int64_t first = std::min(query.page_start, total);
    const std::int64_t last = std::min(first + query.page_size, total);
    for (std::int64_t i = first; i < last; ++i) {
        const candidate& chosen = candidates[static_cast<std::size_t>(i)];
        hits.push_back({chosen.version, chosen.end_s, directories[chosen.directory].path});
    }
    return hits;
}

std::vector<path_search::directory> path_search::walk(const share& target, const search_query& query,
                                                      const std::vector<std::string>& names) {
    std::vector<directory> here;
    const statement_run run(find_top_);
    if (!find_top_.bind(1, target.subclient_id).step()) return here;
    here.push_back({find_top_.integer(0), 0, {}});
    for (const std::string& name : names) {
        std::vector<directory> below;
        for (const directory& from : here)
            step_down(query, from, name, below);
        if (below.size() > max_directories) throw std::runtime_error("the path leads through too many directories");
        here = std::move(below);
    }
    return here;
}

/// Without all versions the newest one tells where a directory is. At a past moment it is the one of that moment; and
/// where none is as old, the oldest one: what was in a directory at a time shows that the directory was there, even
/// when it was not told of before.
void path_search::step_down(const search_query& query, const directory& from, const std::string& name,
                            std::vector<directory>& found) {
    const place_filter place{from.object, name, query.fold_case};
    const auto take = [&](const version_in_place& version) {
        found.push_back({version.object, earlier_end(from.end_s, version.end_s), from.path + "/" + version.name});
    };
    if (!query.all_versions) return history_.newest(place, take);
    history_.all(place, [&](const std::vector<version_in_place>& versions) {
        const std::int64_t asked = asked_ns(query);
        for (const version_in_place& version : versions) {
            if (version.in_place && version.vtime <= asked) return take(version);
        }
        if (versions.back().in_place) take(versions.back());
    });
}

std::vector<path_search::candidate> path_search::collect(const search_query& query,
                                                         const std::vector<directory>& directories,
                                                         const std::optional<std::string>& name) {
    std::vector<candidate> candidates;
    // Grouping is per path: the name below the path of its directory, which several directories can share.
    std::map<std::pair<std::string_view, std::string>, std::vector<candidate>> groups;
    for (std::size_t i = 0; i < directories.size(); ++i) {
        const auto take = [&](const version_in_place& version) {
            if (!version.in_place || !in_range(query, version.vtime) || !type_wanted(query, version.data_type)) return;
            const std::int64_t end_s = earlier_end(directories[i].end_s, version.end_s);
            const candidate found{version.id, version.vtime, end_s, lives(query, end_s), i};
            if (query.grouped)
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
        std::sort(group.begin(), group.end(), [&](const candidate& a, const candidate& b) {
            if (a.living != b.living) return a.living;
            if (a.vtime != b.vtime) return (a.vtime > b.vtime) == query.group_descending;
            return a.version > b.version;
        });
        const auto kept = static_cast<std::size_t>(std::min<std::int64_t>(query.group_limit, group.size()));
        candidates.insert(candidates.end(), group.begin(), group.begin() + static_cast<std::ptrdiff_t>(kept));
    }
    return candidates;
}

/// The listing of one directory as it is now, which is asked for most, comes in order from an index: its later pages
/// then cost no sorting.
bool path_search::can_page_in_index(const search_query& query, std::size_t directories) const {
    return directories == 1 && !query.all_versions && !query.time && !query.grouped && !query.descending;
}

std::vector<search_hit> path_search::page_in_index(const search_query& query, const directory& where) {
    std::vector<search_hit> hits;
    const statement_run run(page_of_directory_);
    page_of_directory_.bind(1, where.object).bind(2, std::int64_t{query.data_types});
    page_of_directory_.bind(3, query.page_size).bind(4, query.page_start);
    while (page_of_directory_.step()) {
        const std::int64_t end_s = earlier_end(where.end_s, page_of_directory_.integer(1));
        hits.push_back({page_of_directory_.integer(0), end_s, where.path});
    }
    return hits;
}

}  // namespace index_server
