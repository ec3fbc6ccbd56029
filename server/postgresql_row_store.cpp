// Statements over many rows. In each of them the first parameter is the share, which stays bound from file to file, and
// the others are arrays of the same length, a row to each index.
#include "server/postgresql_row_store.h"

#include <algorithm>

#include "server/postgresql_array.h"
#include "server/postgresql_copy.h"
#include "server/row_columns.h"

namespace index_server {

namespace {

// Few enough that the planner goes by the index of a large table, enough that the round trip does not count.
constexpr std::size_t keys_at_once = 1000;

// What is looked up for each key stands in a subquery that the planner keeps apart, by its OFFSET or LIMIT. As a join
// it might go through all of a share's rows instead: it knows nothing of a share that is being filled.
#define IIF_EACH(keys, names) " FROM unnest(" keys ") WITH ORDINALITY AS w(" names ", n) CROSS JOIN LATERAL "
constexpr const char* find_objects_sql = "SELECT w.n, o.id, o.newest" IIF_EACH(
    "?2::bytea[]", "guid") "(SELECT id, newest FROM object WHERE share = ?1 AND guid = w.guid OFFSET 0) AS o";
constexpr const char* newest_versions_sql = "SELECT w.n, v.*" IIF_EACH(
    "?2::bigint[]",
    "object") "(SELECT " IIF_VERSION_COLUMNS
              " FROM version WHERE share = ?1 AND object = w.object ORDER BY vtime DESC, arrival DESC LIMIT ?3) AS v";
constexpr const char* named_versions_sql = "SELECT w.n, v.*" IIF_EACH(
    "?2::bigint[], ?3::bytea[]",
    "object, guid") "(SELECT " IIF_VERSION_COLUMNS
                    " FROM version WHERE share = ?1 AND object = w.object AND version_guid = w.guid OFFSET 0) AS v";
constexpr const char* newest_extents_sql =
    "SELECT w.n, e.*" IIF_EACH("?2::bigint[], ?3::bigint[]",
                               "file, number") "(SELECT " IIF_EXTENT_COLUMNS
                                               " FROM extent WHERE share = ?1 AND file = w.file AND number = w.number "
                                               "ORDER BY vtime DESC, arrival DESC LIMIT ?4) AS e";
constexpr const char* named_extents_sql = "SELECT w.n, e.*" IIF_EACH(
    "?2::bigint[], ?3::bigint[], ?4::bytea[]",
    "file, number, guid") "(SELECT " IIF_EXTENT_COLUMNS
                          " FROM extent WHERE share = ?1 AND file = w.file AND number = w.number "
                          "AND version_guid = w.guid OFFSET 0) AS e";

constexpr const char* replace_objects_sql =
    "INSERT INTO object(share, id, guid, newest) SELECT ?1, w.id, w.guid, w.newest "
    "FROM unnest(?2::bigint[], ?3::bytea[], ?4::bigint[]) AS w(id, guid, newest) "
    "ON CONFLICT(share, id) DO UPDATE SET newest = excluded.newest";
constexpr const char* replace_versions_sql =
    "INSERT INTO version(share, object, " IIF_VERSION_COLUMNS ") SELECT share, object, " IIF_VERSION_COLUMNS
    " FROM staged_version WHERE share = ?1 ON CONFLICT(share, id) DO UPDATE SET parent = excluded.parent, "
    "name = excluded.name, name_key = excluded.name_key, state = excluded.state, arrival = excluded.arrival, "
    "dtime = excluded.dtime, data_type = excluded.data_type, size = excluded.size, mode = excluded.mode, "
    "uid = excluded.uid, gid = excluded.gid, atime = excluded.atime, ctime = excluded.ctime, mtime = excluded.mtime, "
    "extent_type = excluded.extent_type, extent_size = excluded.extent_size, extent_number = excluded.extent_number, "
    "link_target = excluded.link_target, xattr = excluded.xattr";
constexpr const char* replace_extents_sql =
    "INSERT INTO extent(share, file, number, " IIF_EXTENT_COLUMNS ") SELECT share, file, number, " IIF_EXTENT_COLUMNS
    " FROM staged_extent WHERE share = ?1 ON CONFLICT(share, id) DO UPDATE SET state = excluded.state, "
    "arrival = excluded.arrival, dtime = excluded.dtime, size = excluded.size, extent_type = excluded.extent_type, "
    "link_target = excluded.link_target, xattr = excluded.xattr";

#define IIF_SET_PROPERTIES(table, row)                                                                  \
    "INSERT INTO " table "(share, " row                                                                 \
    ", name, value) SELECT ?1, w.id, w.name, w.value "                                                  \
    "FROM unnest(?2::bigint[], ?3::bytea[], ?4::bytea[]) AS w(id, name, value) ON CONFLICT(share, " row \
    ", name) DO UPDATE SET value = excluded.value"
#define IIF_COPY_PROPERTIES(table, row)                                                                            \
    "INSERT INTO " table "(share, " row ", name, value) SELECT ?1, w.id, p.name, p.value" IIF_EACH(                \
        "?2::bigint[], ?3::bigint[]", "id, source") "(SELECT name, value FROM " table " WHERE share = ?1 AND " row \
                                                    " = w.source OFFSET 0) AS p ON CONFLICT(share, " row           \
                                                    ", name) DO NOTHING"

using element = postgresql_array::element;

/// Calls the work for pieces of the keys that are small enough for one statement.
template <class Keys, class Work>
void in_pieces(const Keys& keys, const Work& work) {
    for (std::size_t at = 0; at < keys.size(); at += keys_at_once)
        work(std::span(keys.data() + at, std::min(keys_at_once, keys.size() - at)));
}

/// The key that a row of an answer belongs to: they count from 1, in the first column.
template <class Keys>
auto& key_of(const sql_statement& row, const Keys& keys) {
    return keys[static_cast<std::size_t>(row.integer(0) - 1)];
}

void add_values(postgresql_copy& to, const dated_row& row) {
    to.add_small(static_cast<std::int64_t>(row.state)).add(row.vtime).add(row.arrival).add(row.dtime);
}

/// The columns as read_version has them, behind the share and the object.
void add_row(postgresql_copy& to, std::int64_t share, const object_history& object, const version_row& row) {
    to.row(25).add(share).add(object.id).add(row.id).add(row.version_guid).add(if_told(row.parent));
    to.add_text_if_any(row.name).add_text_if_any(row.name_key);
    add_values(to, row);
    to.add_small(row.whole ? 1 : 0).add_small(row.data_type).add(row.size).add(row.mode).add(row.uid).add(row.gid);
    to.add(row.atime).add(row.ctime).add(row.mtime).add(row.extent_type).add(row.extent_size).add(row.extent_number);
    to.add_text_if_any(row.link_target).add_text_if_any(row.xattr);
}

/// The columns as read_extent has them, behind the share, the file and the number.
void add_row(postgresql_copy& to, std::int64_t share, const extent_history& extent, const extent_row& row) {
    to.row(15).add(share).add(extent.file).add(extent.number).add(row.id).add(row.version_guid).add(row.guid);
    add_values(to, row);
    to.add_small(row.data_type).add(row.size).add(row.extent_type);
    to.add_text_if_any(row.link_target).add_text_if_any(row.xattr);
}

#define IIF_COPY_VERSIONS(table) "COPY " table "(share, object, " IIF_VERSION_COLUMNS ") FROM STDIN (FORMAT binary)"
#define IIF_COPY_EXTENTS(table) "COPY " table "(share, file, number, " IIF_EXTENT_COLUMNS ") FROM STDIN (FORMAT binary)"

}  // namespace

postgresql_row_store::postgresql_row_store(sql_connection& connection)
    : share_row_store(connection),
      connection_(connection),
      find_objects_(connection, find_objects_sql),
      replace_objects_(connection, replace_objects_sql),
      newest_versions_(connection, newest_versions_sql),
      named_versions_(connection, named_versions_sql),
      version_writer_{IIF_COPY_VERSIONS("version"),
                      IIF_COPY_VERSIONS("staged_version"),
                      "DELETE FROM staged_version",
                      {connection, replace_versions_sql},
                      {connection, IIF_SET_PROPERTIES("version_property", "version")},
                      {connection, IIF_COPY_PROPERTIES("version_property", "version")}},
      newest_extents_(connection, newest_extents_sql),
      named_extents_(connection, named_extents_sql),
      extent_writer_{IIF_COPY_EXTENTS("extent"),
                     IIF_COPY_EXTENTS("staged_extent"),
                     "DELETE FROM staged_extent",
                     {connection, replace_extents_sql},
                     {connection, IIF_SET_PROPERTIES("extent_property", "extent")},
                     {connection, IIF_COPY_PROPERTIES("extent_property", "extent")}} {
    connection.execute(
        "CREATE TEMPORARY TABLE IF NOT EXISTS staged_version(LIKE version) ON COMMIT DELETE ROWS;"
        "CREATE TEMPORARY TABLE IF NOT EXISTS staged_extent(LIKE extent) ON COMMIT DELETE ROWS");
}

std::int64_t postgresql_row_store::begin(std::int64_t share) {
    share_ = share;
    for (sql_statement* statement :
         {&find_objects_, &replace_objects_, &newest_versions_, &named_versions_, &newest_extents_, &named_extents_})
        statement->bind(1, share);
    for (row_writer* writer : {&version_writer_, &extent_writer_})
        for (sql_statement* statement : {&writer->replace, &writer->set_properties, &writer->copy_properties})
            statement->bind(1, share);
    return share_row_store::begin(share);
}

void postgresql_row_store::load_objects(std::span<object_history* const> objects) {
    in_pieces(objects, [&](auto piece) {
        postgresql_array guids(element::bytea);
        for (const object_history* one : piece)
            guids.add(one->guid);
        const statement_run run(find_objects_);
        find_objects_.bind(2, guids.bytes());
        while (find_objects_.step()) {
            object_history& found = *key_of(find_objects_, piece);
            found.is_new = false;
            found.id = find_objects_.integer(1);
            found.newest_id = find_objects_.integer(2);
        }
    });
}

void postgresql_row_store::load_versions(std::span<object_history* const> objects, std::size_t most,
                                         text_arena& texts) {
    newest_versions_.bind(3, static_cast<std::int64_t>(most));
    in_pieces(objects, [&](auto piece) {
        postgresql_array ids(element::bigint);
        for (const object_history* one : piece)
            ids.add(one->id);
        const statement_run run(newest_versions_);
        newest_versions_.bind(2, ids.bytes());
        while (newest_versions_.step())
            key_of(newest_versions_, piece)->versions.add(read_version(newest_versions_, 1, texts));
    });
}

void postgresql_row_store::load_versions(std::span<const named_version<object_history>> named, text_arena& texts) {
    in_pieces(named, [&](auto piece) {
        postgresql_array ids(element::bigint), guids(element::bytea);
        for (const auto& [of, version_guid] : piece) {
            ids.add(of->id);
            guids.add(version_guid);
        }
        const statement_run run(named_versions_);
        named_versions_.bind(2, ids.bytes()).bind(3, guids.bytes());
        while (named_versions_.step())
            key_of(named_versions_, piece).of->versions.add(read_version(named_versions_, 1, texts));
    });
}

void postgresql_row_store::load_extents(std::span<extent_history* const> extents, std::size_t most, text_arena& texts) {
    newest_extents_.bind(4, static_cast<std::int64_t>(most));
    in_pieces(extents, [&](auto piece) {
        postgresql_array files(element::bigint), numbers(element::bigint);
        for (const extent_history* one : piece) {
            files.add(one->file);
            numbers.add(one->number);
        }
        const statement_run run(newest_extents_);
        newest_extents_.bind(2, files.bytes()).bind(3, numbers.bytes());
        while (newest_extents_.step())
            key_of(newest_extents_, piece)->versions.add(read_extent(newest_extents_, 1, texts));
    });
}

void postgresql_row_store::load_extents(std::span<const named_version<extent_history>> named, text_arena& texts) {
    in_pieces(named, [&](auto piece) {
        postgresql_array files(element::bigint), numbers(element::bigint), guids(element::bytea);
        for (const auto& [of, version_guid] : piece) {
            files.add(of->file);
            numbers.add(of->number);
            guids.add(version_guid);
        }
        const statement_run run(named_extents_);
        named_extents_.bind(2, files.bytes()).bind(3, numbers.bytes()).bind(4, guids.bytes());
        while (named_extents_.step())
            key_of(named_extents_, piece).of->versions.add(read_extent(named_extents_, 1, texts));
    });
}

void postgresql_row_store::write(const changed_objects& objects) {
    if (!objects.added.empty()) {
        postgresql_copy to(connection_, "COPY object(share, id, guid, newest) FROM STDIN (FORMAT binary)");
        for (const object_history* one : objects.added) {
            const version_row* newest = one->versions.newest();
            to.row(4).add(share_).add(one->id).add(one->guid).add(if_told(newest != nullptr ? newest->id : 0));
        }
        to.finish();
    }
    in_pieces(objects.changed, [&](auto piece) {
        postgresql_array ids(element::bigint), guids(element::bytea), newest(element::bigint);
        for (const object_history* one : piece) {
            ids.add(one->id);
            guids.add(one->guid);
            newest.add(one->versions.newest()->id);
        }
        replace_objects_.bind(2, ids.bytes()).bind(3, guids.bytes()).bind(4, newest.bytes()).run();
    });
}

void postgresql_row_store::write(const changed_rows<object_history, version_row>& versions) {
    write(version_writer_, versions);
}

void postgresql_row_store::write(const changed_rows<extent_history, extent_row>& extents) {
    write(extent_writer_, extents);
}

template <class Changed>
void postgresql_row_store::write(row_writer& writer, const Changed& rows) {
    copy(writer.add_sql, rows.added);
    if (!rows.changed.empty()) {
        copy(writer.stage_sql, rows.changed);
        writer.replace.run();
        connection_.execute(writer.clear_stage_sql);
    }
    write(writer.set_properties, rows.properties);
    write(writer.copy_properties, rows.copies);
}

template <class Rows>
void postgresql_row_store::copy(const char* sql, const Rows& rows) {
    if (rows.empty()) return;
    postgresql_copy to(connection_, sql);
    for (const auto& [of, row] : rows)
        add_row(to, share_, *of, *row);
    to.finish();
}

void postgresql_row_store::write(sql_statement& set, const std::vector<property_change>& properties) {
    in_pieces(properties, [&](auto piece) {
        postgresql_array rows(element::bigint), names(element::bytea), values(element::bytea);
        for (const property_change& one : piece) {
            rows.add(one.row);
            names.add(one.name);
            values.add(one.value);
        }
        set.bind(2, rows.bytes()).bind(3, names.bytes()).bind(4, values.bytes()).run();
    });
}

void postgresql_row_store::write(sql_statement& copy, const std::vector<property_copy>& copies) {
    in_pieces(copies, [&](auto piece) {
        postgresql_array rows(element::bigint), sources(element::bigint);
        for (const property_copy& one : piece) {
            rows.add(one.row);
            sources.add(one.from);
        }
        copy.bind(2, rows.bytes()).bind(3, sources.bytes()).run();
    });
}

}  // namespace index_server
