// The way up from an object. Each directory on it is taken as it stood at the asked moment, just as a path is walked
// down, so that both ways agree.
#include "server/ancestry.h"

#include <unordered_set>
#include <vector>

#include "server/candidates.h"
#include "server/version_time.h"

namespace index_server {

namespace {

// No real tree is deeper.
constexpr std::size_t max_depth = 10000;

}  // namespace

void ancestry::begin(const search_query& query) {
    query_ = &query;
    known_.clear();
    top_ = history_.top();
}

const standing& ancestry::of(std::int64_t object) {
    const auto [place, is_new] = known_.try_emplace(object);
    if (is_new) place->second = climb(object);
    return place->second;
}

/// The version of the asked moment; where none is as old, the oldest one, as when a path is walked down.
std::optional<version_in_place> ancestry::version_then(std::int64_t object) {
    if (!query_->all_versions) return history_.newest_of(object);
    const std::vector<version_in_place> versions = history_.all_of(object);
    for (const version_in_place& version : versions) {
        if (version.vtime <= asked_ns(*query_)) return version;
    }
    return versions.empty() ? std::nullopt : std::optional(versions.back());
}

standing ancestry::climb(std::int64_t object) {
    standing found;
    std::vector<std::string> names;
    std::unordered_set<std::int64_t> passed;
    for (std::int64_t here = object; here != top_;) {
        // Rows that contradict each other can make a circle of parents.
        if (!passed.insert(here).second) return found;
        const std::optional<version_in_place> version = version_then(here);
        if (!version) return found;
        found.end_s = earlier_end(found.end_s, version->end_s);
        if (version->parent == 0 || version->name.empty() || names.size() == max_depth) return found;
        names.push_back(version->name);
        here = version->parent;
    }
    found.path.emplace();
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        *found.path += "/" + *name;
    return found;
}

}  // namespace index_server
