// The versions that a search has found before they are put in order, grouped and cut into pages.
//
// In every order the versions that live at the asked moment come before the ended ones, so that a short page never
// hides the living behind the dead. The row id settles ties, so that pages neither overlap nor leave gaps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "server/search_query.h"

namespace index_server {

/// One version that an answer holds.
struct search_hit {
    std::int64_t version = 0;              ///< row of the object's version, or of the extent's
    std::int64_t end_s = 0;                ///< when it ended in its place, seconds; 0 for not at all
    std::optional<std::string> directory;  ///< path of the directory, without a slash at its end; nothing if unknown
};

struct candidate {
    std::int64_t version = 0;
    std::int64_t vtime = 0;
    std::int64_t rank = 0;  ///< what the request sorts by
    std::int64_t end_s = 0;
    bool living = false;
    std::size_t directory = 0;  ///< for the search's own use
};

/// The last nanosecond of the time asked about; the end of time when the request names none.
std::int64_t asked_ns(const search_query& query);
/// Whether what ends at that second still lives at the asked moment.
bool lives(const search_query& query, std::int64_t end_s);
bool type_wanted(const search_query& query, std::int64_t data_type);
bool in_range(const search_query& query, std::int64_t vtime);

/// Leaves of one group what the request wants to see of each.
void cut_group(const search_query& query, std::vector<candidate>& group);

/// Puts the candidates in the order that was asked for.
void sort_candidates(const search_query& query, std::vector<candidate>& candidates);

}  // namespace index_server
