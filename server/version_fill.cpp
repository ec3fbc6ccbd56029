// The filling-in of versions after a collect file.
#include "server/version_fill.h"

namespace index_server {

namespace {

// Few enough to hold, many enough that the search for the next ones costs little.
constexpr std::int64_t objects_at_once = 1000;

// Objects with a new version beside another one, each at its first new version.
constexpr const char* new_objects_sql =
    "SELECT v.id, v.object FROM version v WHERE v.id > ?1 AND v.share = ?4 "
    "AND EXISTS(SELECT 1 FROM version o WHERE o.share = v.share AND o.object = v.object AND o.id <> v.id) "
    "AND NOT EXISTS(SELECT 1 FROM version e WHERE e.share = v.share AND e.object = v.object AND e.id > ?2 AND e.id < "
    "v.id) "
    "ORDER BY v.id LIMIT ?3";

constexpr const char* copy_attributes_sql =
    "UPDATE version SET data_type = coalesce(version.data_type, s.data_type), size = coalesce(version.size, s.size), "
    "mode = coalesce(version.mode, s.mode), uid = coalesce(version.uid, s.uid), gid = coalesce(version.gid, s.gid), "
    "atime = coalesce(version.atime, s.atime), ctime = coalesce(version.ctime, s.ctime), "
    "mtime = coalesce(version.mtime, s.mtime), extent_type = coalesce(version.extent_type, s.extent_type), "
    "extent_size = coalesce(version.extent_size, s.extent_size), "
    "extent_number = coalesce(version.extent_number, s.extent_number), "
    "link_target = coalesce(version.link_target, s.link_target), xattr = coalesce(version.xattr, s.xattr) "
    "FROM version s WHERE version.id = ?1 AND s.id = ?2 AND version.share = ?3 AND s.share = ?3";

#define IIF_EARLIER "share = ?4 AND object = ?1 AND (vtime, arrival) < (?2, ?3) "
#define IIF_OTHER "share = ?3 AND object = ?1 AND id <> ?2 "
#define IIF_PLACED "AND parent IS NOT NULL AND name IS NOT NULL "
#define IIF_NEWEST_FIRST "ORDER BY vtime DESC, arrival DESC LIMIT 1"
constexpr const char* earlier_sql = "SELECT id FROM version WHERE " IIF_EARLIER IIF_NEWEST_FIRST;
constexpr const char* newest_sql = "SELECT id FROM version WHERE " IIF_OTHER IIF_NEWEST_FIRST;
constexpr const char* earlier_placed_sql = "SELECT id FROM version WHERE " IIF_EARLIER IIF_PLACED IIF_NEWEST_FIRST;
constexpr const char* newest_placed_sql = "SELECT id FROM version WHERE " IIF_OTHER IIF_PLACED IIF_NEWEST_FIRST;
#undef IIF_EARLIER
#undef IIF_OTHER
#undef IIF_PLACED
#undef IIF_NEWEST_FIRST

}  // namespace

version_fill::version_fill(sql_connection& connection)
    : new_objects_(connection, new_objects_sql),
      new_versions_(connection,
                    "SELECT id, vtime, arrival, whole FROM version WHERE share = ?3 AND object = ?1 AND id > ?2 "
                    "ORDER BY vtime, arrival"),
      without_place_(connection,
                     "SELECT id, vtime, arrival, whole FROM version "
                     "WHERE share = ?2 AND object = ?1 AND (parent IS NULL OR name IS NULL) ORDER BY vtime, arrival"),
      copy_attributes_(connection, copy_attributes_sql),
      copy_properties_(connection,
                       "INSERT INTO version_property(share, version, name, value) "
                       "SELECT share, ?1, name, value FROM version_property WHERE share = ?3 AND version = ?2 ON "
                       "CONFLICT DO NOTHING"),
      copy_place_(connection,
                  "UPDATE version SET parent = coalesce(version.parent, s.parent), "
                  "name = coalesce(version.name, s.name), name_key = coalesce(version.name_key, s.name_key) "
                  "FROM version s WHERE version.id = ?1 AND s.id = ?2 AND version.share = ?3 AND s.share = ?3"),
      attribute_source_(connection, earlier_sql, newest_sql),
      place_source_(connection, earlier_placed_sql, newest_placed_sql) {}

/// The share stays bound for the whole run.
void version_fill::bind_share(std::int64_t share) {
    new_objects_.bind(4, share);
    without_place_.bind(2, share);
    for (sql_statement* statement : {&new_versions_, &copy_attributes_, &copy_properties_, &copy_place_})
        statement->bind(3, share);
    for (source_finder* source : {&attribute_source_, &place_source_}) {
        source->earlier.bind(4, share);
        source->newest.bind(3, share);
    }
}

void version_fill::fill_since(std::int64_t share, std::int64_t last_old_version) {
    bind_share(share);
    std::int64_t last = last_old_version;
    for (;;) {
        const std::vector<std::int64_t> objects = objects_after(last, last_old_version, last);
        for (const std::int64_t object : objects) {
            fill_attributes(object, last_old_version);
            fill_places(object);
        }
        if (objects.empty()) return;
    }
}

std::vector<std::int64_t> version_fill::objects_after(std::int64_t after, std::int64_t last_old_version,
                                                      std::int64_t& last) {
    std::vector<std::int64_t> objects;
    const statement_run run(new_objects_);
    new_objects_.bind(1, after).bind(2, last_old_version).bind(3, objects_at_once);
    while (new_objects_.step()) {
        last = new_objects_.integer(0);
        objects.push_back(new_objects_.integer(1));
    }
    return objects;
}

std::vector<version_fill::row> version_fill::rows_of(sql_statement& statement) {
    std::vector<row> rows;
    const statement_run run(statement);
    while (statement.step()) {
        rows.push_back({statement.integer(0), statement.integer(1), statement.integer(2), statement.integer(3) != 0});
    }
    return rows;
}

void version_fill::fill_attributes(std::int64_t object, std::int64_t last_old_version) {
    new_versions_.bind(1, object).bind(2, last_old_version);
    // Oldest first, so that what a version takes from has been filled itself.
    for (const row& version : rows_of(new_versions_)) {
        const std::int64_t source = attribute_source_.find(object, version, version.whole);
        if (source == 0) continue;
        copy_attributes_.bind(1, version.id).bind(2, source).run();
        copy_properties_.bind(1, version.id).bind(2, source).run();
    }
}

void version_fill::fill_places(std::int64_t object) {
    without_place_.bind(1, object);
    for (const row& version : rows_of(without_place_)) {
        const std::int64_t source = place_source_.find(object, version, false);
        if (source != 0) copy_place_.bind(1, version.id).bind(2, source).run();
    }
}

version_fill::source_finder::source_finder(sql_connection& connection, const char* earlier_sql, const char* newest_sql)
    : earlier(connection, earlier_sql), newest(connection, newest_sql) {}

std::int64_t version_fill::source_finder::find(std::int64_t object, const row& version, bool earlier_only) {
    {
        const statement_run run(earlier);
        if (earlier.bind(1, object).bind(2, version.vtime).bind(3, version.arrival).step()) return earlier.integer(0);
    }
    if (earlier_only) return 0;
    const statement_run run(newest);
    return newest.bind(1, object).bind(2, version.id).step() ? newest.integer(0) : 0;
}

}  // namespace index_server
