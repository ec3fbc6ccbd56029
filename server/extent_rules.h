// What the lines of a collect file do to the extents of files. A version of an extent is known by its file, its number
// and its version GUID; a deletion ends the version that it names, which must not come before newer ones by that;
// otherwise the rules are those of object_rules.h.
#pragma once

#include <cstdint>

#include "server/collect_line.h"
#include "server/row_history.h"

namespace index_server {

/// One extent of a file, and those of its versions that a collect file can have to do with.
struct extent_history {
    std::int64_t file = 0;  ///< id of an object; 0 while it has none
    std::int64_t number = 0;
    row_history<extent_row> versions;
    const extent_row* newest_stored = nullptr;
};

/// The number of the extent that a line tells of.
std::int64_t extent_number_of(const collect_line& line);

/// Applies a line; `arrival` is greater than that of any line before it. Needs the newest version and the one that the
/// line names.
void apply_line(extent_history& extent, const collect_line& line, std::int64_t arrival);

/// After the last line of a file: each new row takes what its line left out from the newest version that tells it, and
/// the newest version is settled. Throws too_many_properties.
void settle(extent_history& extent, property_budget& budget);

}  // namespace index_server
