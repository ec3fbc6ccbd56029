// The application of collect lines to extents.
#include "server/extent_applier.h"

#include "server/sql_records.h"
#include "server/version_time.h"

namespace index_server {

namespace {

// What stands for the number of an extent whose line has none, as in the records of the library.
constexpr std::int64_t no_number = -1;

// An extent without a value takes the one of the newest other version that has it.
#define IIF_FILLED(column)                                                                                                 \
#column                                                                                                                \
        " = coalesce(" #column ", (SELECT s." #column                                                                      \
        " FROM extent s WHERE s.share = extent.share AND s.file = extent.file AND s.number = extent.number AND s." #column \
        " IS NOT NULL ORDER BY s.vtime DESC, s.arrival DESC LIMIT 1))"
constexpr const char* fill_sql =
    "UPDATE extent SET " IIF_FILLED(data_type) ", " IIF_FILLED(size) ", " IIF_FILLED(extent_type) ", "
    IIF_FILLED(link_target) ", " IIF_FILLED(xattr)
    " WHERE id > ?1 AND share = ?2 AND EXISTS(SELECT 1 FROM extent o WHERE o.share = extent.share AND o.file = extent.file AND o.number = extent.number "
    "AND o.id <> extent.id)";
#undef IIF_FILLED

constexpr const char* fill_properties_sql =
    "INSERT INTO extent_property(share, extent, name, value) "
    "SELECT n.share, n.id, p.name, p.value FROM extent n "
    "JOIN extent o ON o.share = n.share AND o.file = n.file AND o.number = n.number "
    "JOIN extent_property p ON p.share = o.share AND p.extent = o.id WHERE n.id > ?1 AND n.share = ?2 AND o.id <> n.id "
    "ORDER BY n.id, o.vtime DESC, o.arrival DESC ON CONFLICT DO NOTHING";

}  // namespace

extent_applier::extent_applier(sql_connection& connection)
    : find_(connection, "SELECT id FROM extent WHERE file = ?1 AND number = ?2 AND version_guid = ?3 AND share = ?4"),
      find_newest_(connection,
                   "SELECT id FROM extent WHERE file = ?1 AND number = ?2 AND share = ?3 ORDER BY vtime DESC, arrival "
                   "DESC LIMIT 1"),
      insert_(connection,
              "INSERT INTO extent(file, number, version_guid, guid, vtime, arrival, dtime, data_type, size, "
              "extent_type, link_target, xattr, share, state) VALUES(?1, ?2, ?3, ?4, ?5, ?6, 0, ?7, ?8, ?9, ?10, ?11, "
              "?12, 2) RETURNING id"),
      lay_over_(connection,
                "UPDATE extent SET size = coalesce(?2, size), extent_type = coalesce(?3, extent_type), "
                "link_target = coalesce(?4, link_target), xattr = coalesce(?5, xattr) WHERE id = ?1 AND share = ?6"),
      touch_arrival_(connection, "UPDATE extent SET arrival = ?2 WHERE id = ?1 AND share = ?3"),
      read_dtime_(connection, "SELECT dtime FROM extent WHERE id = ?1 AND share = ?2"),
      set_dtime_(connection, "UPDATE extent SET dtime = ?2 WHERE id = ?1 AND share = ?3"),
      supersede_(connection,
                 "UPDATE extent SET state = 2 WHERE file = ?1 AND number = ?2 AND state < 2 AND id <> ?3 "
                 "AND share = ?4"),
      set_state_(connection,
                 "UPDATE extent SET state = CASE dtime WHEN 0 THEN 0 ELSE 1 END WHERE id = ?1 AND share = ?2"),
      set_property_(connection,
                    "INSERT INTO extent_property(extent, name, value, share) VALUES(?1, ?2, ?3, ?4) "
                    "ON CONFLICT(share, extent, name) DO UPDATE SET value = excluded.value"),
      last_extent_(connection, last_id_sql(connection, "extent").c_str()),
      fill_(connection, fill_sql),
      fill_properties_(connection, fill_properties_sql) {}

void extent_applier::begin(std::int64_t share) {
    insert_.bind(12, share);
    lay_over_.bind(6, share);
    for (sql_statement* statement : {&find_newest_, &touch_arrival_, &set_dtime_})
        statement->bind(3, share);
    for (sql_statement* statement : {&find_, &supersede_, &set_property_})
        statement->bind(4, share);
    for (sql_statement* statement : {&read_dtime_, &set_state_, &fill_, &fill_properties_})
        statement->bind(2, share);
    last_extent_.bind(1, share).step();
    last_old_extent_ = last_extent_.integer(0);
    last_extent_.reset();
}

void extent_applier::finish() {
    fill_.bind(1, last_old_extent_).run();
    fill_properties_.bind(1, last_old_extent_).run();
}

void extent_applier::apply(std::int64_t file, const collect_line& line, std::int64_t arrival) {
    const std::int64_t number = line.extent_number.value_or(no_number);
    std::int64_t extent = find(file, number, line);
    if (extent == 0) {
        extent = insert(file, number, line, arrival);
    } else {
        lay_over(extent, line);
        if (line.op != collect_op::remove) touch_arrival_.bind(1, extent).bind(2, arrival).run();
    }
    set_properties(extent, line);
    set_end(extent, line, arrival);
    rank(file, number);
}

/// Settles which version is the extent's newest, and whether that one lives.
void extent_applier::rank(std::int64_t file, std::int64_t number) {
    std::int64_t newest = 0;
    {
        const statement_run run(find_newest_);
        if (find_newest_.bind(1, file).bind(2, number).step()) newest = find_newest_.integer(0);
    }
    supersede_.bind(1, file).bind(2, number).bind(3, newest).run();
    set_state_.bind(1, newest).run();
}

std::int64_t extent_applier::find(std::int64_t file, std::int64_t number, const collect_line& line) {
    sql_statement& statement = line.version_guid.empty() ? find_newest_ : find_;
    const statement_run run(statement);
    statement.bind(1, file).bind(2, number);
    if (!line.version_guid.empty()) statement.bind(3, line.version_guid);
    return statement.step() ? statement.integer(0) : 0;
}

std::int64_t extent_applier::insert(std::int64_t file, std::int64_t number, const collect_line& line,
                                    std::int64_t arrival) {
    insert_.bind(1, file).bind(2, number).bind(3, line.version_guid).bind(4, line.object_guid);
    insert_.bind(5, version_time(line, arrival)).bind(6, arrival).bind(7, line.object_type).bind(8, line.size);
    insert_.bind(9, line.extent_type).bind_text_if_any(10, line.link_target).bind_text_if_any(11, line.xattr);
    const statement_run run(insert_);
    insert_.step();
    return insert_.integer(0);
}

void extent_applier::lay_over(std::int64_t extent, const collect_line& line) {
    lay_over_.bind(1, extent).bind(2, line.size).bind(3, line.extent_type);
    lay_over_.bind_text_if_any(4, line.link_target).bind_text_if_any(5, line.xattr).run();
}

void extent_applier::set_end(std::int64_t extent, const collect_line& line, std::int64_t arrival) {
    const std::int64_t dtime = line.dtime.value_or(0);
    if (line.op == collect_op::remove) {
        read_dtime_.bind(1, extent).step();
        const std::int64_t former = read_dtime_.integer(0);
        read_dtime_.reset();
        // Without a time of its own a deletion leaves an earlier end in place, so that it can come twice.
        if (dtime == 0 && former != 0) return;
        set_dtime_.bind(1, extent).bind(2, dtime != 0 ? dtime : second_of(arrival)).run();
    } else if (line.op == collect_op::add) {
        set_dtime_.bind(1, extent).bind(2, dtime > 0 ? dtime : 0).run();
    } else if (line.dtime) {
        set_dtime_.bind(1, extent).bind(2, dtime).run();
    }
}

void extent_applier::set_properties(std::int64_t extent, const collect_line& line) {
    for (const auto& [name, value] : line.custom_props) {
        set_property_.bind(1, extent).bind(2, name).bind(3, value).run();
    }
}

}  // namespace index_server
