// The search by path.
//
// A path is walked down from above the share's root by (parent, name). Every directory that matches a name is followed:
// one name can stand for several when a directory was deleted and made anew, or when case is ignored. What ended above
// ends what is below, if that did not end earlier by itself.
#include "server/path_search.h"

#include <algorithm>

#include "server/version_time.h"

namespace index_server {

namespace {

// A path leads through more directories than this, all its names together, only where someone built it to be costly: a
// directory that was moved into itself in the course of time is found below itself without end.
constexpr std::size_t max_directories = 50000;

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

}  // namespace

std::vector<search_hit> path_search::page(const share& target, const search_query& query) {
    std::vector<std::string> names = names_of(query.key_value);
    if (names.empty()) return {};
    std::optional<std::string> leaf;
    if (query.what == search_query::key::exact_path) {
        leaf = names.back();
        names.pop_back();
    }
    return listing_.page(target, query, walk(query, names), leaf);
}

std::vector<found_directory> path_search::walk(const search_query& query, const std::vector<std::string>& names) {
    std::vector<found_directory> here;
    const std::int64_t top = history_.top();
    if (top == 0) return here;
    here.push_back({top, 0, std::string()});
    std::size_t followed = 0;
    for (const std::string& name : names) {
        std::vector<found_directory> below;
        for (const found_directory& from : here) {
            step_down(query, from, name, below);
            if (followed + below.size() > max_directories) throw too_many_directories();
        }
        followed += below.size();
        here = std::move(below);
    }
    return here;
}

/// Without all versions the newest one tells where a directory is. At a past moment it is the one of that moment; and
/// where none is as old, the oldest one: what was in a directory at a time shows that the directory was there, even
/// when it was not told of before.
void path_search::step_down(const search_query& query, const found_directory& from, const std::string& name,
                            std::vector<found_directory>& found) {
    const place_filter place{from.object, name, query.fold_case};
    const auto take = [&](const version_in_place& version) {
        found.push_back({version.object, earlier_end(from.end_s, version.end_s), *from.path + "/" + version.name});
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

}  // namespace index_server
