// The removal of whole objects.
#include "server/object_removal.h"

#include <utility>

#include "server/page_of_objects.h"

namespace index_server {

namespace {

/// A statement about the rows of the share ?1 of which a column has one of the ids ?2.
sql_statement of_ids(sql_connection& c, const std::string& what, const char* column, const char* more = "") {
    return {c, (what + " WHERE share = ?1 AND " + id_list::among(c, column, 2) + more).c_str()};
}

/// The same where the ids are the rows' own, which the embedded engine finds without the share.
sql_statement remove_ids(sql_connection& c, const char* table) {
    const std::string rows = std::string("DELETE FROM ") + table + " WHERE ";
    const std::string own = id_list::among(c, "id", 2) + " RETURNING 1";
    return {c, (rows + (c.dialect() == sql_dialect::sqlite ? "?1 > 0 AND " : "share = ?1 AND ") + own).c_str()};
}

}  // namespace

object_removal::object_removal(sql_connection& c, std::int64_t share)
    : connection_(c),
      share_(share),
      extents_of_(of_ids(c, "SELECT id FROM extent", "file", " LIMIT ?3")),
      extent_properties_(of_ids(c, "DELETE FROM extent_property", "extent")),
      extents_(remove_ids(c, "extent")),
      versions_of_(of_ids(c, "SELECT id, parent FROM version", "object")),
      version_properties_(of_ids(c, "DELETE FROM version_property", "version")),
      versions_(remove_ids(c, "version")),
      objects_(remove_ids(c, "object")) {}

bool object_removal::remove(id_list objects, removal_tally& tally) {
    if (tally.rows_left <= 0) return false;
    if (objects.is_empty()) return true;
    extents_of_.bind(1, share_).bind(2, objects.bytes()).bind(3, tally.rows_left);
    const std::uint64_t extents = remove_extents(ids_of(connection_, extents_of_));
    tally.removed.extents += extents;
    tally.rows_left -= static_cast<std::int64_t>(extents);
    if (tally.rows_left <= 0) return false;

    id_list versions(connection_);
    {
        const statement_run run(versions_of_);
        versions_of_.bind(1, share_).bind(2, objects.bytes());
        while (versions_of_.step()) {
            versions.add(versions_of_.integer(0));
            if (!versions_of_.is_null(1)) tally.emptied.insert(versions_of_.integer(1));
        }
    }
    tally.rows_left -= static_cast<std::int64_t>(versions.size());
    tally.removed.versions += remove_versions(std::move(versions));
    tally.removed.objects += remove_objects(objects);
    return true;
}

std::uint64_t object_removal::remove_versions(id_list versions) {
    return remove_rows(versions, version_properties_, versions_);
}

std::uint64_t object_removal::remove_extents(id_list extents) {
    return remove_rows(extents, extent_properties_, extents_);
}

std::uint64_t object_removal::remove_objects(id_list& objects) {
    return static_cast<std::uint64_t>(run_and_count(objects_.bind(1, share_).bind(2, objects.bytes())));
}

std::uint64_t object_removal::remove_rows(id_list& ids, sql_statement& properties, sql_statement& rows) {
    if (ids.is_empty()) return 0;
    properties.bind(1, share_).bind(2, ids.bytes()).run();
    return static_cast<std::uint64_t>(run_and_count(rows.bind(1, share_).bind(2, ids.bytes())));
}

}  // namespace index_server
