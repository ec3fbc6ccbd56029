// Order, groups and pages of what a search has found.
#include "server/candidates.h"

#include <algorithm>
#include <limits>

#include "server/version_time.h"

namespace index_server {

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

void cut_group(const search_query& query, std::vector<candidate>& group) {
    std::sort(group.begin(), group.end(), [&](const candidate& a, const candidate& b) {
        if (a.living != b.living) return a.living;
        if (a.vtime != b.vtime) return (a.vtime > b.vtime) == query.group_descending;
        return a.version > b.version;
    });
    const auto size = static_cast<std::int64_t>(group.size());
    group.resize(static_cast<std::size_t>(std::min(query.group_limit, size)));
}

void sort_candidates(const search_query& query, std::vector<candidate>& candidates) {
    std::sort(candidates.begin(), candidates.end(), [&](const candidate& a, const candidate& b) {
        if (a.living != b.living) return a.living;
        if (a.rank != b.rank) return (a.rank < b.rank) != query.descending;
        return (a.version < b.version) != query.descending && a.version != b.version;
    });
}

}  // namespace index_server
