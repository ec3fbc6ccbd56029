// The steps of a purge. A step takes some objects, or fewer when there is more to remove of them than one transaction
// should hold; it then stays where it is, and what it has removed is not found again.
#include "server/history_purge.h"

#include <algorithm>

#include "server/version_time.h"

namespace index_server {

namespace {

constexpr std::int64_t page_objects = 1000;
// Rows, about: tens of milliseconds of work, in which feeds wait.
constexpr std::int64_t most_rows = 4000;
// For what has to be done before a step ends, however much it did.
constexpr std::int64_t spare_rows = 100;

// Statements about the objects of a page get these as a list of ids: ?1 is the share and ?2 the list. The signs, and
// look-ups in place of NOT EXISTS, keep engines from reading a whole share in the order of some other index.

constexpr const char* page_sql = "SELECT o.id, o.guid FROM object o WHERE " IIF_OF_PAGE;

std::string old_versions_sql(const sql_connection& c) {
    return "SELECT v.id FROM version v WHERE v.share = ?1 AND " + id_list::among(c, "v.object", 2) +
           " AND v.vtime < (SELECT max(k.vtime) FROM version k WHERE k.share = ?1 AND k.object = v.object "
           "AND k.vtime <= ?3) LIMIT ?4";
}

std::string old_extents_sql(const sql_connection& c) {
    return "SELECT e.id FROM extent e WHERE e.share = ?1 AND " + id_list::among(c, "e.file", 2) +
           " AND (e.vtime < (SELECT max(k.vtime) FROM extent k WHERE k.share = ?1 AND k.file = e.file "
           "AND k.number = e.number AND k.vtime <= ?3) "
           "OR EXISTS(SELECT 1 FROM extent n WHERE n.share = ?1 AND n.file = e.file AND n.number = e.number "
           "AND n.state = 1 AND n.vtime <= ?3 AND n.dtime <= ?5)) LIMIT ?4";
}

/// The objects of the page whose newest version had come and had ended, and when it had; all but the root.
std::string ended_sql(const sql_connection& c) {
    return "SELECT v.object, v.dtime FROM version v WHERE v.share = ?1 AND " + id_list::among(c, "v.object", 2) +
           " AND +v.state = 1 AND +v.vtime <= ?3 AND +v.dtime <= ?4 AND +v.object <> ?5";
}

#define IIF_IS_EMPTY "(SELECT c.id FROM version c WHERE c.share = ?1 AND c.parent = v.object LIMIT 1) IS NULL"

constexpr const char* living_leaves_sql =
    "SELECT v.object FROM version v WHERE v.share = ?1 AND v.parent = ?2 AND v.state = 0 AND v.vtime <= ?3 "
    "AND " IIF_IS_EMPTY " LIMIT ?4";

}  // namespace

history_purge::history_purge(sql_connection& c, const share& of, std::int64_t bound_s)
    : connection_(c),
      bound_s_(bound_s),
      bound_ns_(last_ns_of(bound_s)),
      root_guid_(of.root_guid),
      rows_(c, of.subclient_id),
      page_(c, of.subclient_id, page_objects),
      read_page_(c, page_sql),
      page_ids_(c),
      old_versions_(c, old_versions_sql(c).c_str()),
      old_extents_(c, old_extents_sql(c).c_str()),
      ended_(c, ended_sql(c).c_str()),
      ended_leaves_(c, (ended_sql(c) + " AND " IIF_IS_EMPTY).c_str()),
      living_leaves_(c, living_leaves_sql),
      living_child_(
          c, "SELECT object FROM version WHERE share = ?1 AND parent = ?2 AND state = 0 AND vtime <= ?3 LIMIT 1"),
      mark_ended_(c, "UPDATE version SET dtime = ?3, state = 1 WHERE share = ?1 AND object = ?2 AND state = 0"),
      has_children_(c, "SELECT 1 FROM version WHERE share = ?1 AND parent = ?2 LIMIT 1"),
      ended_and_passed_(c,
                        "SELECT 1 FROM object o JOIN version v ON v.share = o.share AND v.object = o.id "
                        "WHERE o.share = ?1 AND o.id = ?2 AND o.guid <= ?3 AND v.state = 1 AND v.vtime <= ?4 "
                        "AND v.dtime <= ?5 AND o.guid <> ?6") {
    tally_.rows_left = most_rows;
}

purge_step history_purge::step(const step_place& from) {
    purge_step done;
    if (!page_.begin_after(from)) return done;
    const bool finished = work_off_page();
    remove_emptied();
    done.removed = tally_.removed;
    done.next = finished ? page_.last() : from;
    return done;
}

void history_purge::read_page() {
    const statement_run run(read_page_);
    page_.bind(read_page_);
    while (read_page_.step()) {
        page_ids_.add(read_page_.integer(0));
        if (read_page_.text(1) == root_guid_) root_ = read_page_.integer(0);
    }
}

/// False when a further step has to go on with the page.
bool history_purge::work_off_page() {
    read_page();
    old_versions_.bind(1, page_.share()).bind(2, page_ids_.bytes()).bind(3, bound_ns_).bind(4, tally_.rows_left);
    const std::uint64_t versions = rows_.remove_versions(ids_of(connection_, old_versions_));
    tally_.removed.versions += versions;
    tally_.rows_left -= static_cast<std::int64_t>(versions);
    if (tally_.rows_left <= 0) return false;
    old_extents_.bind(1, page_.share()).bind(2, page_ids_.bytes()).bind(3, bound_ns_).bind(4, tally_.rows_left);
    const std::uint64_t extents = rows_.remove_extents(ids_of(connection_, old_extents_.bind(5, bound_s_)));
    tally_.removed.extents += extents;
    tally_.rows_left -= static_cast<std::int64_t>(extents);
    return remove_ended();
}

/// The leaves of the page go all at once; what is left are directories.
bool history_purge::remove_ended() {
    if (ended_in_page().empty()) return true;
    if (!rows_.remove(ids_of(connection_, bind_ended(ended_leaves_)), tally_)) return false;
    for (const ended_object& top : ended_in_page()) {
        if (!remove_tree(top)) return false;
    }
    return true;
}

/// Removes what lives in an object and has nothing below it, again and again. False when enough has been done before
/// none is left.
bool history_purge::remove_living_leaves(std::int64_t parent) {
    while (tally_.rows_left > 0) {
        living_leaves_.bind(1, page_.share()).bind(2, parent).bind(3, bound_ns_).bind(4, tally_.rows_left);
        const id_list leaves = ids_of(connection_, living_leaves_);
        if (leaves.is_empty()) return true;
        if (!rows_.remove(leaves, tally_)) return false;
    }
    return false;
}

sql_statement& history_purge::bind_ended(sql_statement& statement) {
    return statement.bind(1, page_.share())
        .bind(2, page_ids_.bytes())
        .bind(3, bound_ns_)
        .bind(4, bound_s_)
        .bind(5, root_);
}

std::vector<history_purge::ended_object> history_purge::ended_in_page() {
    std::vector<ended_object> found;
    const statement_run run(ended_);
    bind_ended(ended_);
    while (ended_.step())
        found.push_back({ended_.integer(0), ended_.integer(1)});
    return found;
}

/// Removes an ended object and what is left living in it, from the leaves up, so that a further step finds what this
/// one could not do. False when there is such.
bool history_purge::remove_tree(const ended_object& top) {
    std::vector<std::int64_t> way{top.id};
    while (!way.empty()) {
        const std::int64_t here = way.back();
        if (!remove_living_leaves(here)) return false;
        // A newest version has one parent, and the top is not living: the way down cannot come back to itself.
        if (const std::optional<std::int64_t> child = living_child(here)) {
            way.push_back(*child);
            continue;
        }
        if (has_children(here)) {
            if (way.size() > 1) mark_ended_.bind(1, page_.share()).bind(2, here).bind(3, top.end_s).run();
            --tally_.rows_left;
        } else if (!remove_single(here)) {
            return false;
        }
        way.pop_back();
    }
    return true;
}

std::optional<std::int64_t> history_purge::living_child(std::int64_t object) {
    const statement_run run(living_child_);
    living_child_.bind(1, page_.share()).bind(2, object).bind(3, bound_ns_);
    return living_child_.step() ? std::optional(living_child_.integer(0)) : std::nullopt;
}

bool history_purge::has_children(std::int64_t object) {
    const statement_run run(has_children_);
    return has_children_.bind(1, page_.share()).bind(2, object).step();
}

bool history_purge::remove_single(std::int64_t object) {
    id_list single(connection_);
    single.add(object);
    return rows_.remove(single, tally_);
}

/// Removes what the walk has passed and had to leave because of something that is gone now.
void history_purge::remove_emptied() {
    while (!tally_.emptied.empty()) {
        const std::int64_t object = *tally_.emptied.begin();
        tally_.emptied.erase(tally_.emptied.begin());
        tally_.rows_left = std::max(tally_.rows_left, spare_rows);
        if (is_ended_and_passed(object) && !has_children(object)) remove_single(object);
    }
}

bool history_purge::is_ended_and_passed(std::int64_t object) {
    const statement_run run(ended_and_passed_);
    ended_and_passed_.bind(1, page_.share()).bind(2, object).bind(3, page_.last());
    return ended_and_passed_.bind(4, bound_ns_).bind(5, bound_s_).bind(6, root_guid_).step();
}

}  // namespace index_server
