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

#define IIF_OLD_VERSIONS                                                                                            \
    "(SELECT v.id FROM object o JOIN version v ON v.share = o.share AND v.object = o.id WHERE " IIF_OF_PAGE         \
    " AND v.vtime < (SELECT max(k.vtime) FROM version k WHERE k.share = ?1 AND k.object = o.id AND k.vtime <= ?4) " \
    "ORDER BY v.id LIMIT ?5)"

#define IIF_OLD_EXTENTS                                                                                              \
    "(SELECT e.id FROM object o JOIN extent e ON e.share = o.share AND e.file = o.id WHERE " IIF_OF_PAGE             \
    " AND (e.vtime < (SELECT max(k.vtime) FROM extent k WHERE k.share = ?1 AND k.file = o.id "                       \
    "AND k.number = e.number AND k.vtime <= ?4) "                                                                    \
    "OR EXISTS(SELECT 1 FROM extent n WHERE n.share = ?1 AND n.file = o.id AND n.number = e.number AND n.state = 1 " \
    "AND n.vtime <= ?4 AND n.dtime <= ?6)) ORDER BY e.id LIMIT ?5)"

/// The objects of the page whose newest version had come and had ended.
#define IIF_ENDED_IN_PAGE                                                                 \
    "object o JOIN version v ON v.share = o.share AND v.object = o.id WHERE " IIF_OF_PAGE \
    " AND v.state = 1 AND v.vtime <= ?4 AND v.dtime <= ?5 AND o.guid <> ?6"

#define IIF_IS_EMPTY "NOT EXISTS(SELECT 1 FROM version c WHERE c.share = ?1 AND c.parent = v.object)"

constexpr const char* ended_leaves = "(SELECT o.id FROM " IIF_ENDED_IN_PAGE " AND " IIF_IS_EMPTY ")";
constexpr const char* living_leaves =
    "(SELECT v.object FROM version v WHERE v.share = ?1 AND v.parent = ?2 AND v.state = 0 AND v.vtime <= ?3 "
    "AND " IIF_IS_EMPTY " ORDER BY v.object LIMIT ?4)";

}  // namespace

history_purge::history_purge(sql_connection& c, const share& of, std::int64_t bound_s)
    : bound_s_(bound_s),
      bound_ns_(last_ns_of(bound_s)),
      root_guid_(of.root_guid),
      page_(c, of.subclient_id, page_objects),
      old_version_properties_(c, "DELETE FROM version_property WHERE share = ?1 AND version IN " IIF_OLD_VERSIONS),
      old_versions_(c, (by_ids(c, "DELETE FROM version") + IIF_OLD_VERSIONS " RETURNING 1").c_str()),
      old_extent_properties_(c, "DELETE FROM extent_property WHERE share = ?1 AND extent IN " IIF_OLD_EXTENTS),
      old_extents_(c, (by_ids(c, "DELETE FROM extent") + IIF_OLD_EXTENTS " RETURNING 1").c_str()),
      ended_(c, "SELECT o.id, v.dtime FROM " IIF_ENDED_IN_PAGE " ORDER BY o.guid"),
      ended_leaves_(c, ended_leaves, 6),
      living_leaves_(c, living_leaves, 4),
      single_(c, "(SELECT id FROM object WHERE share = ?1 AND id = ?2)", 2),
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

/// False when a further step has to go on with the page.
bool history_purge::work_off_page() {
    page_.bind(old_version_properties_).bind(4, bound_ns_).bind(5, tally_.rows_left);
    page_.bind(old_versions_).bind(4, bound_ns_).bind(5, tally_.rows_left);
    tally_.removed.versions += remove_rows(old_version_properties_, old_versions_);
    if (tally_.rows_left <= 0) return false;
    page_.bind(old_extent_properties_).bind(4, bound_ns_).bind(5, tally_.rows_left).bind(6, bound_s_);
    page_.bind(old_extents_).bind(4, bound_ns_).bind(5, tally_.rows_left).bind(6, bound_s_);
    tally_.removed.extents += remove_rows(old_extent_properties_, old_extents_);
    return remove_ended();
}

/// The leaves of the page go all at once; what is left are directories.
bool history_purge::remove_ended() {
    if (ended_in_page().empty()) return true;
    const auto in_page = [this](sql_statement& statement) { bind_ended(statement); };
    if (!ended_leaves_.remove(page_.share(), in_page, tally_)) return false;
    for (const ended_object& top : ended_in_page()) {
        if (!remove_tree(top)) return false;
    }
    return true;
}

/// Removes the rows that both statements name, with their properties, and returns how many there were.
std::uint64_t history_purge::remove_rows(sql_statement& properties, sql_statement& rows) {
    properties.run();
    const std::int64_t count = run_and_count(rows);
    tally_.rows_left -= count;
    return static_cast<std::uint64_t>(count);
}

/// Removes the objects of a set until none is left in it, or enough has been done.
bool history_purge::remove_all(object_removal& set, const object_removal::binder& bind) {
    for (;;) {
        const std::uint64_t before = tally_.removed.objects;
        if (!set.remove(page_.share(), bind, tally_)) return false;
        if (tally_.removed.objects == before) return true;
    }
}

sql_statement& history_purge::bind_ended(sql_statement& statement) const {
    return page_.bind(statement).bind(4, bound_ns_).bind(5, bound_s_).bind(6, root_guid_);
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
        const auto in_it = [&](sql_statement& statement) {
            statement.bind(1, page_.share()).bind(2, here).bind(3, bound_ns_).bind(4, tally_.rows_left);
        };
        if (!remove_all(living_leaves_, in_it)) return false;
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
    const auto it = [&](sql_statement& statement) { statement.bind(1, page_.share()).bind(2, object); };
    return single_.remove(page_.share(), it, tally_);
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
