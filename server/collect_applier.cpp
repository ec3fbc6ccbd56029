// The application of collect lines to objects. The rules are told in the header.
#include "server/collect_applier.h"

#include <algorithm>

#include "server/name_folding.h"
#include "server/sql_records.h"
#include "server/version_time.h"

namespace index_server {

namespace {

// Enough for the directories that one file is likely to touch in turn, without growing with the file.
constexpr std::size_t max_parents = 4096;

constexpr const char* insert_version_sql =
    "INSERT INTO version(parent, name, name_key, data_type, size, mode, uid, gid, atime, ctime, mtime, extent_type, "
    "extent_size, extent_number, link_target, xattr, object, version_guid, state, vtime, arrival, dtime, whole, share) "
    "VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13,?14,?15,?16,?17,?18,?19,?20,?21,?22,?23,?24) RETURNING id";

constexpr const char* lay_over_sql =
    "UPDATE version SET parent = coalesce(?1, parent), name = coalesce(?2, name), name_key = coalesce(?3, name_key), "
    "data_type = coalesce(?4, data_type), size = coalesce(?5, size), mode = coalesce(?6, mode), "
    "uid = coalesce(?7, uid), gid = coalesce(?8, gid), atime = coalesce(?9, atime), ctime = coalesce(?10, ctime), "
    "mtime = coalesce(?11, mtime), extent_type = coalesce(?12, extent_type), "
    "extent_size = coalesce(?13, extent_size), extent_number = coalesce(?14, extent_number), "
    "link_target = coalesce(?15, link_target), xattr = coalesce(?16, xattr) WHERE id = ?17 AND share = ?18";

enum state : std::int64_t { living = 0, deleted = 1, superseded = 2 };

/// The type of an object by its mode, for those kinds that lines carry no type for and for lines that leave it out.
std::optional<std::int64_t> type_of_mode(std::int64_t mode) {
    switch (mode & 0xF000) {
        case 0x8000:
            return 1;
        case 0xA000:
            return 2;
        case 0xC000:
            return 3;
        case 0x4000:
            return 4;
        case 0x1000:
            return 6;
        case 0x6000:
            return 7;
        case 0x2000:
            return 8;
        default:
            return std::nullopt;
    }
}

std::optional<std::int64_t> data_type_of(const collect_line& line) {
    // A deletion says 1 for a directory.
    if (line.object_type && line.op != collect_op::remove) return line.object_type;
    return line.mode ? type_of_mode(*line.mode) : std::nullopt;
}

}  // namespace

collect_applier::collect_applier(sql_connection& connection)
    : connection_(connection),
      find_object_(connection, "SELECT id, newest FROM object WHERE share = ?1 AND guid = ?2"),
      add_object_(connection, "INSERT INTO object(share, guid) VALUES(?1, ?2) RETURNING id"),
      find_version_(connection, "SELECT id FROM version WHERE object = ?1 AND version_guid = ?2 AND share = ?3"),
      find_version_up_to_(connection,
                          "SELECT id FROM version WHERE object = ?1 AND vtime <= ?2 AND share = ?3 "
                          "ORDER BY vtime DESC, arrival DESC LIMIT 1"),
      insert_version_(connection, insert_version_sql),
      lay_over_(connection, lay_over_sql),
      touch_arrival_(connection, "UPDATE version SET arrival = ?2 WHERE id = ?1 AND share = ?3"),
      read_rank_(connection, "SELECT vtime, dtime, state FROM version WHERE id = ?1 AND share = ?2"),
      set_state_(connection, "UPDATE version SET state = ?2 WHERE id = ?1 AND share = ?3"),
      set_newest_(connection, "UPDATE object SET newest = ?2 WHERE id = ?1 AND share = ?3"),
      set_dtime_(connection,
                 "UPDATE version SET dtime = ?2, state = CASE WHEN state = 2 THEN 2 WHEN ?2 = 0 THEN 0 ELSE 1 END "
                 "WHERE id = ?1 AND share = ?3"),
      set_property_(connection,
                    "INSERT INTO version_property(version, name, value, share) VALUES(?1, ?2, ?3, ?4) "
                    "ON CONFLICT(share, version, name) DO UPDATE SET value = excluded.value"),
      lock_share_(connection,
                  "UPDATE share SET last_arrival = last_arrival WHERE subclient_id = ?1 RETURNING last_arrival"),
      set_last_arrival_(connection, "UPDATE share SET last_arrival = ?1 WHERE subclient_id = ?2"),
      last_version_(connection, last_id_sql(connection, "version").c_str()),
      extents_(connection),
      fill_(connection) {}

/// The share stays bound until the next file.
void collect_applier::bind_share(const share& target) {
    share_ = target.subclient_id;
    insert_version_.bind(24, share_);
    lay_over_.bind(18, share_);
    read_rank_.bind(2, share_);
    set_property_.bind(4, share_);
    for (sql_statement* statement :
         {&find_version_, &find_version_up_to_, &touch_arrival_, &set_state_, &set_newest_, &set_dtime_})
        statement->bind(3, share_);
}

void collect_applier::begin(const share& target, std::int64_t now_ns) {
    bind_share(target);
    parents_.clear();
    revived_.clear();
    lock_share_.bind(1, share_).step();
    // Each line takes one step more than the one before it, even if the clock was set back in between.
    arrival_ = std::max(now_ns, lock_share_.integer(0));
    lock_share_.reset();
    last_version_.bind(1, share_).step();
    last_old_version_ = last_version_.integer(0);
    last_version_.reset();
    root_object_ = intern(target.root_guid).id;
    extents_.begin(share_);
}

void collect_applier::finish() {
    fill_.fill_since(share_, last_old_version_);
    extents_.finish();
    set_last_arrival_.bind(1, arrival_).bind(2, share_).run();
}

void collect_applier::make_root(const share& target) {
    bind_share(target);
    root_object_ = 0;
    const object_row above = intern({});
    object_row root = intern(target.root_guid);
    const std::string name = std::to_string(target.folder_id);
    collect_line line;
    line.op = collect_op::add;
    line.name = name;
    line.mode = 040755;
    arrival_ = 0;
    // Its version time is the earliest of all, so that the root is there at every moment that can be asked about.
    const std::int64_t version = insert(root, line, 0, 0);
    sql_statement(connection_, "UPDATE version SET parent = ?2 WHERE id = ?1 AND share = ?3")
        .bind(1, version)
        .bind(2, above.id)
        .bind(3, share_)
        .run();
}

void collect_applier::apply(const collect_line& line) {
    ++arrival_;
    if (line.is_extent) {
        const std::string_view file = line.parent_guid.empty() ? line.object_guid : line.parent_guid;
        extents_.apply(intern(file).id, line, arrival_);
        return;
    }
    object_row object = intern(line.object_guid);
    if (line.op != collect_op::remove) {
        apply_change(object, line);
    } else if (object.id != root_object_) {
        apply_deletion(object, line);
    }
}

collect_applier::object_row collect_applier::intern(std::string_view guid) {
    {
        const statement_run run(find_object_);
        if (find_object_.bind(1, share_).bind(2, guid).step())
            return {find_object_.integer(0), find_object_.integer(1)};
    }
    const statement_run run(add_object_);
    add_object_.bind(1, share_).bind(2, guid).step();
    return {add_object_.integer(0), 0};
}

std::int64_t collect_applier::intern_parent(std::string_view guid) {
    std::string key(guid);
    const auto known = parents_.find(key);
    if (known != parents_.end()) return known->second;
    if (parents_.size() >= max_parents) parents_.clear();
    return parents_.emplace(std::move(key), intern(guid).id).first->second;
}

std::int64_t collect_applier::named_version(const object_row& object, const collect_line& line) {
    if (object.newest == 0) return 0;
    // A line that names no version tells of the newest one.
    if (line.version_guid.empty()) return object.newest;
    const statement_run run(find_version_);
    return find_version_.bind(1, object.id).bind(2, line.version_guid).step() ? find_version_.integer(0) : 0;
}

std::int64_t collect_applier::version_up_to(std::int64_t object, std::int64_t last_ns) {
    const statement_run run(find_version_up_to_);
    return find_version_up_to_.bind(1, object).bind(2, last_ns).step() ? find_version_up_to_.integer(0) : 0;
}

void collect_applier::apply_change(object_row& object, const collect_line& line) {
    const std::int64_t known = named_version(object, line);
    if (known == 0) {
        const bool ended = line.op == collect_op::add ? line.dtime.value_or(0) > 0 : line.dtime.value_or(0) != 0;
        insert(object, line, version_time(line, arrival_), ended ? *line.dtime : 0);
        return;
    }
    lay_over(known, object, line);
    touch_arrival_.bind(1, known).bind(2, arrival_).run();
    if (line.op == collect_op::add && line.dtime.value_or(0) <= 0) {
        revive(known);
    } else if (line.dtime) {
        set_dtime_.bind(1, known).bind(2, *line.dtime).run();
    }
    rank(object, known);
}

void collect_applier::apply_deletion(object_row& object, const collect_line& line) {
    const bool timed = line.dtime.value_or(0) != 0;
    const std::int64_t last_ns = timed ? last_ns_of(*line.dtime) : std::numeric_limits<std::int64_t>::max();
    if (!line.version_guid.empty() || object.newest == 0) {
        const std::int64_t known = named_version(object, line);
        if (known != 0) {
            lay_over(known, object, line);
        } else {
            // Nothing of the object is younger than its deletion.
            insert(object, line, std::min(version_time(line, arrival_), last_ns), 0);
        }
    }
    const std::int64_t ended = version_up_to(object.id, last_ns);
    if (ended == 0) return;
    if (line.version_guid.empty()) lay_over(ended, object, line);
    end_version(ended, line);
}

void collect_applier::lay_over(std::int64_t version, const object_row& object, const collect_line& line) {
    bind_place(lay_over_, 1, object, line);
    bind_attributes(lay_over_, 4, line);
    lay_over_.bind(17, version).run();
    set_properties(version, line);
}

std::int64_t collect_applier::insert(object_row& object, const collect_line& line, std::int64_t vtime,
                                     std::int64_t dtime) {
    const bool first = object.newest == 0;
    bind_place(insert_version_, 1, object, line);
    bind_attributes(insert_version_, 4, line);
    insert_version_.bind(17, object.id).bind(18, line.version_guid);
    insert_version_.bind(19, first ? (dtime != 0 ? deleted : living) : superseded);
    insert_version_.bind(20, vtime)
        .bind(21, arrival_)
        .bind(22, dtime)
        .bind(23, line.op == collect_op::add ? 1 : 0)
        .step();
    const std::int64_t version = insert_version_.integer(0);
    insert_version_.reset();
    set_properties(version, line);
    if (first) {
        set_newest_.bind(1, object.id).bind(2, version).run();
        object.newest = version;
    } else {
        rank(object, version);
    }
    return version;
}

void collect_applier::bind_place(sql_statement& statement, int first, const object_row& object,
                                 const collect_line& line) {
    const bool has_parent = !line.parent_guid.empty() && object.id != root_object_;
    const bool has_name = !line.name.empty() && object.id != root_object_;
    folded_ = has_name ? folded_name(line.name) : std::string();
    statement.bind(first, has_parent ? std::optional(intern_parent(line.parent_guid)) : std::nullopt);
    statement.bind_text_if_any(first + 1, has_name ? line.name : std::string_view());
    statement.bind_text_if_any(first + 2, folded_);
}

void collect_applier::bind_attributes(sql_statement& statement, int first, const collect_line& line) {
    statement.bind(first, data_type_of(line)).bind(first + 1, line.size).bind(first + 2, line.mode);
    statement.bind(first + 3, line.uid).bind(first + 4, line.gid).bind(first + 5, line.atime);
    statement.bind(first + 6, line.ctime).bind(first + 7, line.mtime).bind(first + 8, line.extent_type);
    statement.bind(first + 9, line.extent_size).bind(first + 10, line.extent_number);
    statement.bind_text_if_any(first + 11, line.link_target).bind_text_if_any(first + 12, line.xattr);
}

void collect_applier::set_properties(std::int64_t version, const collect_line& line) {
    for (const auto& [name, value] : line.custom_props) {
        set_property_.bind(1, version).bind(2, name).bind(3, value).run();
    }
}

void collect_applier::revive(std::int64_t version) {
    read_rank_.bind(1, version).step();
    const std::int64_t dtime = read_rank_.integer(1);
    read_rank_.reset();
    if (dtime == 0) return;
    revived_[version] = dtime;
    set_dtime_.bind(1, version).bind(2, std::int64_t{0}).run();
}

void collect_applier::end_version(std::int64_t version, const collect_line& line) {
    std::int64_t end = line.dtime.value_or(0);
    if (end == 0) {
        read_rank_.bind(1, version).step();
        const std::int64_t vtime = read_rank_.integer(0);
        const std::int64_t dtime = read_rank_.integer(1);
        read_rank_.reset();
        if (dtime != 0) return;
        const auto former = revived_.find(version);
        // A version of a host whose clock is ahead must not end before it began.
        end = former != revived_.end() ? former->second : std::max(second_of(arrival_), second_of(vtime));
    }
    set_dtime_.bind(1, version).bind(2, end).run();
}

/// Settles which version is the object's newest after `version`, whose arrival is the latest of all, came or came
/// again.
void collect_applier::rank(object_row& object, std::int64_t version) {
    if (object.newest == version) return;
    read_rank_.bind(1, object.newest).step();
    const std::int64_t newest_vtime = read_rank_.integer(0);
    read_rank_.reset();
    read_rank_.bind(1, version).step();
    const std::int64_t vtime = read_rank_.integer(0);
    const bool ended = read_rank_.integer(1) != 0;
    read_rank_.reset();
    if (vtime < newest_vtime) return;
    set_state_.bind(1, object.newest).bind(2, superseded).run();
    set_state_.bind(1, version).bind(2, ended ? deleted : living).run();
    set_newest_.bind(1, object.id).bind(2, version).run();
    object.newest = version;
}

}  // namespace index_server
