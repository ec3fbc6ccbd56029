// The statements. In each of them the first parameter is the share, which stays bound from file to file.
#include "server/sqlite_row_store.h"

#include "server/row_columns.h"

namespace index_server {

namespace {

constexpr const char* newest_versions_sql =
    "SELECT " IIF_VERSION_COLUMNS
    " FROM version WHERE share = ?1 AND object = ?2 ORDER BY vtime DESC, arrival DESC LIMIT ?3";
constexpr const char* named_version_sql =
    "SELECT " IIF_VERSION_COLUMNS " FROM version WHERE share = ?1 AND object = ?2 AND version_guid = ?3";
constexpr const char* insert_version_sql =
    "INSERT INTO version(share, " IIF_VERSION_COLUMNS
    ", object) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, "
    "?22, ?23, ?24, ?25)";
constexpr const char* set_version_values_sql =
    "UPDATE version SET size = ?3, mode = ?4, uid = ?5, gid = ?6, atime = ?7, ctime = ?8, mtime = ?9, "
    "extent_type = ?10, extent_size = ?11, extent_number = ?12, link_target = ?13, xattr = ?14 "
    "WHERE share = ?1 AND id = ?2";
constexpr const char* set_version_place_sql =
    "UPDATE version SET parent = ?3, name = ?4, name_key = ?5, data_type = ?6 WHERE share = ?1 AND id = ?2";
constexpr const char* set_version_property_sql =
    "INSERT INTO version_property(share, version, name, value) VALUES(?1, ?2, ?3, ?4) "
    "ON CONFLICT(share, version, name) DO UPDATE SET value = excluded.value";
constexpr const char* copy_version_properties_sql =
    "INSERT INTO version_property(share, version, name, value) SELECT share, ?2, name, value FROM version_property "
    "WHERE share = ?1 AND version = ?3 ON CONFLICT(share, version, name) DO NOTHING";

constexpr const char* newest_extents_sql =
    "SELECT " IIF_EXTENT_COLUMNS
    " FROM extent WHERE share = ?1 AND file = ?2 AND number = ?3 ORDER BY vtime DESC, arrival DESC LIMIT ?4";
constexpr const char* named_extent_sql =
    "SELECT " IIF_EXTENT_COLUMNS " FROM extent WHERE share = ?1 AND file = ?2 AND number = ?3 AND version_guid = ?4";
constexpr const char* insert_extent_sql =
    "INSERT INTO extent(share, " IIF_EXTENT_COLUMNS
    ", file, number) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15)";
constexpr const char* set_extent_values_sql =
    "UPDATE extent SET size = ?3, extent_type = ?4, link_target = ?5, xattr = ?6 WHERE share = ?1 AND id = ?2";
constexpr const char* set_extent_property_sql =
    "INSERT INTO extent_property(share, extent, name, value) VALUES(?1, ?2, ?3, ?4) "
    "ON CONFLICT(share, extent, name) DO UPDATE SET value = excluded.value";
constexpr const char* copy_extent_properties_sql =
    "INSERT INTO extent_property(share, extent, name, value) SELECT share, ?2, name, value FROM extent_property "
    "WHERE share = ?1 AND extent = ?3 ON CONFLICT(share, extent, name) DO NOTHING";

/// Binds the values of a version that stand beside each other everywhere.
void bind_values(sql_statement& statement, int first, const version_row& row) {
    statement.bind(first, row.size).bind(first + 1, row.mode).bind(first + 2, row.uid).bind(first + 3, row.gid);
    statement.bind(first + 4, row.atime).bind(first + 5, row.ctime).bind(first + 6, row.mtime);
    statement.bind(first + 7, row.extent_type).bind(first + 8, row.extent_size).bind(first + 9, row.extent_number);
    statement.bind_text_if_any(first + 10, row.link_target).bind_text_if_any(first + 11, row.xattr);
}

void bind_values(sql_statement& statement, int first, const extent_row& row) {
    statement.bind(first, row.size).bind(first + 1, row.extent_type);
    statement.bind_text_if_any(first + 2, row.link_target).bind_text_if_any(first + 3, row.xattr);
}

void set_number(sql_statement& statement, std::int64_t id, std::int64_t number) {
    statement.bind(2, id).bind(3, number).run();
}

void set_end(sql_statement& statement, const dated_row& row) {
    statement.bind(2, row.id).bind(3, row.dtime).bind(4, static_cast<std::int64_t>(row.state)).run();
}

}  // namespace

sqlite_row_store::property_statements::property_statements(sql_connection& connection, const char* set_sql,
                                                           const char* copy_sql)
    : set(connection, set_sql), copy(connection, copy_sql) {}

void sqlite_row_store::property_statements::begin(std::int64_t share) {
    set.bind(1, share);
    copy.bind(1, share);
}

void sqlite_row_store::property_statements::write(const std::vector<property_change>& properties,
                                                  const std::vector<property_copy>& copies) {
    for (const property_change& one : properties)
        set.bind(2, one.row).bind(3, one.name).bind(4, one.value).run();
    for (const property_copy& one : copies)
        set_number(copy, one.row, one.from);
}

sqlite_row_store::sqlite_row_store(sql_connection& connection)
    : share_row_store(connection),
      find_object_(connection, "SELECT id, newest FROM object WHERE share = ?1 AND guid = ?2"),
      insert_object_(connection, "INSERT INTO object(share, id, guid, newest) VALUES(?1, ?2, ?3, ?4)"),
      set_newest_(connection, "UPDATE object SET newest = ?3 WHERE share = ?1 AND id = ?2"),
      newest_versions_(connection, newest_versions_sql),
      named_version_(connection, named_version_sql),
      insert_version_(connection, insert_version_sql),
      set_version_values_(connection, set_version_values_sql),
      set_version_place_(connection, set_version_place_sql),
      set_version_arrival_(connection, "UPDATE version SET arrival = ?3 WHERE share = ?1 AND id = ?2"),
      set_version_end_(connection, "UPDATE version SET dtime = ?3, state = ?4 WHERE share = ?1 AND id = ?2"),
      version_properties_(connection, set_version_property_sql, copy_version_properties_sql),
      newest_extents_(connection, newest_extents_sql),
      named_extent_(connection, named_extent_sql),
      insert_extent_(connection, insert_extent_sql),
      set_extent_values_(connection, set_extent_values_sql),
      set_extent_arrival_(connection, "UPDATE extent SET arrival = ?3 WHERE share = ?1 AND id = ?2"),
      set_extent_end_(connection, "UPDATE extent SET dtime = ?3, state = ?4 WHERE share = ?1 AND id = ?2"),
      extent_properties_(connection, set_extent_property_sql, copy_extent_properties_sql) {}

std::int64_t sqlite_row_store::begin(std::int64_t share) {
    for (sql_statement* statement :
         {&find_object_, &insert_object_, &set_newest_, &newest_versions_, &named_version_, &insert_version_,
          &set_version_values_, &set_version_place_, &set_version_arrival_, &set_version_end_, &newest_extents_,
          &named_extent_, &insert_extent_, &set_extent_values_, &set_extent_arrival_, &set_extent_end_})
        statement->bind(1, share);
    version_properties_.begin(share);
    extent_properties_.begin(share);
    return share_row_store::begin(share);
}

void sqlite_row_store::load_objects(std::span<object_history* const> objects) {
    for (object_history* one : objects) {
        const statement_run run(find_object_);
        if (!find_object_.bind(2, one->guid).step()) continue;
        one->is_new = false;
        one->id = find_object_.integer(0);
        one->newest_id = find_object_.integer(1);
    }
}

void sqlite_row_store::load_versions(std::span<object_history* const> objects, std::size_t most, text_arena& texts) {
    newest_versions_.bind(3, static_cast<std::int64_t>(most));
    for (object_history* one : objects) {
        const statement_run run(newest_versions_);
        newest_versions_.bind(2, one->id);
        while (newest_versions_.step())
            one->versions.add(read_version(newest_versions_, 0, texts));
    }
}

void sqlite_row_store::load_versions(std::span<const named_version<object_history>> named, text_arena& texts) {
    for (const auto& [of, version_guid] : named) {
        const statement_run run(named_version_);
        if (named_version_.bind(2, of->id).bind(3, version_guid).step())
            of->versions.add(read_version(named_version_, 0, texts));
    }
}

void sqlite_row_store::load_extents(std::span<extent_history* const> extents, std::size_t most, text_arena& texts) {
    newest_extents_.bind(4, static_cast<std::int64_t>(most));
    for (extent_history* one : extents) {
        const statement_run run(newest_extents_);
        newest_extents_.bind(2, one->file).bind(3, one->number);
        while (newest_extents_.step())
            one->versions.add(read_extent(newest_extents_, 0, texts));
    }
}

void sqlite_row_store::load_extents(std::span<const named_version<extent_history>> named, text_arena& texts) {
    for (const auto& [of, version_guid] : named) {
        const statement_run run(named_extent_);
        if (named_extent_.bind(2, of->file).bind(3, of->number).bind(4, version_guid).step())
            of->versions.add(read_extent(named_extent_, 0, texts));
    }
}

void sqlite_row_store::write(const changed_objects& objects) {
    for (const object_history* one : objects.added) {
        const version_row* newest = one->versions.newest();
        insert_object_.bind(2, one->id).bind(3, one->guid).bind(4, if_told(newest != nullptr ? newest->id : 0)).run();
    }
    for (const object_history* one : objects.changed)
        set_number(set_newest_, one->id, one->versions.newest()->id);
}

void sqlite_row_store::write(const changed_rows<object_history, version_row>& versions) {
    for (const auto& [of, row] : versions.added)
        insert(*of, *row);
    for (const auto& [of, row] : versions.changed)
        update(*row);
    version_properties_.write(versions.properties, versions.copies);
}

void sqlite_row_store::write(const changed_rows<extent_history, extent_row>& extents) {
    for (const auto& [of, row] : extents.added)
        insert(*of, *row);
    for (const auto& [of, row] : extents.changed)
        update(*row);
    extent_properties_.write(extents.properties, extents.copies);
}

void sqlite_row_store::insert(const object_history& object, const version_row& row) {
    sql_statement& to = insert_version_;
    to.bind(2, row.id).bind(3, row.version_guid).bind(4, if_told(row.parent));
    to.bind_text_if_any(5, row.name).bind_text_if_any(6, row.name_key);
    to.bind(7, static_cast<std::int64_t>(row.state)).bind(8, row.vtime).bind(9, row.arrival).bind(10, row.dtime);
    to.bind(11, std::int64_t{row.whole}).bind(12, row.data_type);
    bind_values(to, 13, row);
    to.bind(25, object.id).run();
}

void sqlite_row_store::update(const version_row& row) {
    if ((row.changes & changed_values) != 0) {
        bind_values(set_version_values_.bind(2, row.id), 3, row);
        set_version_values_.run();
    }
    if ((row.changes & changed_place) != 0) {
        set_version_place_.bind(2, row.id).bind(3, if_told(row.parent)).bind_text_if_any(4, row.name);
        set_version_place_.bind_text_if_any(5, row.name_key).bind(6, row.data_type).run();
    }
    if ((row.changes & changed_arrival) != 0) set_number(set_version_arrival_, row.id, row.arrival);
    if ((row.changes & changed_end) != 0) set_end(set_version_end_, row);
}

void sqlite_row_store::insert(const extent_history& extent, const extent_row& row) {
    sql_statement& to = insert_extent_;
    to.bind(2, row.id).bind(3, row.version_guid).bind(4, row.guid).bind(5, static_cast<std::int64_t>(row.state));
    to.bind(6, row.vtime).bind(7, row.arrival).bind(8, row.dtime).bind(9, row.data_type);
    bind_values(to, 10, row);
    to.bind(14, extent.file).bind(15, extent.number).run();
}

void sqlite_row_store::update(const extent_row& row) {
    if ((row.changes & changed_values) != 0) {
        bind_values(set_extent_values_.bind(2, row.id), 3, row);
        set_extent_values_.run();
    }
    if ((row.changes & changed_arrival) != 0) set_number(set_extent_arrival_, row.id, row.arrival);
    if ((row.changes & changed_end) != 0) set_end(set_extent_end_, row);
}

}  // namespace index_server
