// What the lines of a collect file do to an object. The rules:
//
// A1  A version that is known gets the line's fields laid over it and keeps its version time; an unknown one is a new
//     row, whatever the operation.
// A2  The newest version of an object is the greatest by (version time, arrival). A version that comes again takes its
//     latest arrival, by a deletion that names it too: the lines of a file that comes again must not overtake it.
// A3  A deletion ends the newest version whose second is not after the deletion time, and nothing that came later.
//     Without a deletion time it ends the newest version now, and leaves an earlier end in place.
// A4  An addition brings its version back to life unless it carries a deletion time itself.
// A5  Whatever a new row's line left out is filled in when the whole file has been read, since a file holds the updates
//     before the additions.
// A6  The root of a share keeps its place and cannot be deleted.
//
// The end that a move makes to a version in its former place is not stored: it follows from the rows (history.h).
// Applying a file again, alone or with all that followed it, leaves the rows as they were.
#pragma once

#include <cstdint>
#include <string_view>

#include "server/collect_line.h"
#include "server/row_history.h"

namespace index_server {

/// An object and those of its versions that a file can have to do with: all, or the newest ones and those that its
/// lines name.
struct object_history {
    std::string_view guid;
    std::int64_t id = 0;         ///< 0 while it has none
    bool is_new = true;          ///< not stored yet
    std::int64_t newest_id = 0;  ///< newest version as it is stored; 0 while there is none
    bool is_root = false;
    bool is_changing = false;  ///< lines are about it, and not only about what is in it
    row_history<version_row> versions;
};

/// Where a line puts its object. What it does not tell is 0 or empty.
struct line_place {
    std::int64_t parent = 0;
    std::string_view name;
    std::string_view name_key;  ///< the name without case
};

/// Applies a line about the object itself; `arrival` is greater than that of any line before it. What has to be there
/// of the object's versions: the newest, the one that the line names, and of a line that speaks of the past, all since
/// then.
void apply_line(object_history& object, const collect_line& line, const line_place& place, std::int64_t arrival);

/// After the last line of a file: fills in what lines left out, and settles which version is the newest. A new version
/// takes each value that its line left out from the version before it; one that nothing stands before, and that no
/// addition brought, from the newest. The place comes from the nearest earlier version that names one, or from the
/// newest that does; with the first line that names a place, the versions that waited for one get it too.
/// Throws too_many_properties.
void settle(object_history& object, property_budget& budget);

}  // namespace index_server
