// The columns of versions and extents that the application of collect files reads and writes, in the order of the rows
// here; the object or file that a row belongs to is not among them.
#pragma once

#include "server/row_history.h"
#include "server/sql.h"
#include "server/text_arena.h"

#define IIF_VERSION_COLUMNS                                                                                            \
    "id, version_guid, parent, name, name_key, state, vtime, arrival, dtime, whole, data_type, size, mode, uid, gid, " \
    "atime, ctime, mtime, extent_type, extent_size, extent_number, link_target, xattr"
#define IIF_EXTENT_COLUMNS \
    "id, version_guid, guid, state, vtime, arrival, dtime, data_type, size, extent_type, link_target, xattr"

namespace index_server {

/// Reads IIF_VERSION_COLUMNS from the column `first` on.
version_row read_version(const sql_statement& row, int first, text_arena& texts);
/// Reads IIF_EXTENT_COLUMNS from the column `first` on.
extent_row read_extent(const sql_statement& row, int first, text_arena& texts);

/// Nothing for an id that is 0.
inline std::optional<std::int64_t> if_told(std::int64_t id) {
    return id == 0 ? std::nullopt : std::optional(id);
}

}  // namespace index_server
