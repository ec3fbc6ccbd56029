// The steps of a check.
#include "server/integrity_check.h"

#include <stdexcept>
#include <utility>

#include "server/name_folding.h"
#include "server/stray_rows.h"

namespace index_server {

namespace {

constexpr std::int64_t page_objects = 1000;
constexpr std::size_t most_findings = 2000;

// A walk goes along the objects first and along rows that no object leads to then; a place begins with what it is in.
constexpr char among_objects = 'o';
constexpr char among_rows = 'r';

// Statements about the objects of a page get these as a list of ids: ?1 is the share and ?2 the list. What belongs to a
// row is looked up where no engine makes a join of it, and the order begins with a value that was looked up: for
// neither is a whole share read in the order of some index.

#define IIF_GUID_OF(id) "(SELECT o.guid FROM object o WHERE o.share = ?1 AND o.id = " id ") "

constexpr const char* in_top_sql =
    "SELECT whose FROM (SELECT DISTINCT " IIF_GUID_OF("v.object") "AS whose FROM version v "
    "WHERE v.share = ?1 AND v.parent = ?2) p WHERE whose IS NOT NULL ORDER BY whose LIMIT 100";

constexpr const char* page_sql =
    "SELECT o.id, o.guid, o.newest, (SELECT v.parent FROM version v WHERE v.share = ?1 AND v.object = o.id "
    "ORDER BY v.vtime DESC, v.arrival DESC LIMIT 1) FROM object o WHERE " IIF_OF_PAGE;

std::string versions_sql(const sql_connection& c) {
    return "SELECT v.object, " IIF_GUID_OF("v.object") "AS whose, v.id, v.version_guid, v.parent, "
           "(SELECT p.id FROM object p WHERE p.share = ?1 AND p.id = v.parent), v.name, v.name_key, v.state, v.dtime "
           "FROM version v WHERE v.share = ?1 AND " + id_list::among(c, "v.object", 2) +
           " ORDER BY whose, v.vtime DESC, v.arrival DESC";
}

std::string extents_sql(const sql_connection& c) {
    return "SELECT " IIF_GUID_OF("e.file") "AS whose, e.number, e.state, e.dtime FROM extent e "
           "WHERE e.share = ?1 AND " + id_list::among(c, "e.file", 2) +
           " ORDER BY whose, e.number, e.vtime DESC, e.arrival DESC";
}

// A range of one key and an order by it: only the index by name has that order, and an engine that knows nothing of its
// tables yet could otherwise take one that gives all that is in the directory.
#define IIF_LIVES_IN_PLACE(parent, key, name, before)                                                      \
    "w.share = ?1 AND w.parent = " parent " AND w.name_key BETWEEN " key " AND " key " AND w.name = " name \
    " AND +w.state = 0 AND +w.object < " before " ORDER BY w.name_key"

/// The living objects that have a neighbour in the same place; each pair once.
std::string places_sql(const sql_connection& c) {
    return "SELECT " IIF_GUID_OF("v.object") "AS whose, v.object, v.parent, v.name_key, v.name FROM version v "
           "WHERE v.share = ?1 AND " + id_list::among(c, "v.object", 2) +
           " AND +v.state = 0 AND (SELECT w.id FROM version w WHERE "
           IIF_LIVES_IN_PLACE("v.parent", "v.name_key", "v.name", "v.object") " LIMIT 1) IS NOT NULL ORDER BY whose";
}

constexpr const char* neighbours_sql =
    "SELECT " IIF_GUID_OF("w.object") "FROM version w WHERE " IIF_LIVES_IN_PLACE("?2", "?3", "?4", "?5");

/// 0 when there is none.
std::int64_t object_of(sql_connection& c, std::int64_t share, std::string_view guid) {
    sql_statement find(c, "SELECT id FROM object WHERE share = ?1 AND guid = ?2");
    const statement_run run(find);
    return find.bind(1, share).bind(2, guid).step() ? find.integer(0) : 0;
}

enum column : int { id, guid, version, version_guid, parent, known_parent, name, key, state, dtime };

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

}  // namespace

/// Watches the marks of one object's versions, or of one extent's, newest first.
class integrity_check::marks {
public:
    /// Begins with the newest of all.
    void begin() { count_ = 0, rows_ = 0, is_right_ = true; }
    void see(std::int64_t state, std::int64_t dtime) {
        const std::int64_t right = rows_ > 0 ? 2 : dtime != 0 ? 1 : 0;
        if (state != right) is_right_ = false;
        if (state < 2) ++count_;
        ++rows_;
    }
    /// What is wrong with them, "newest" or "state"; null when nothing is.
    const char* fault() const { return rows_ == 0 || is_right_ ? nullptr : count_ != 1 ? "newest" : "state"; }
    std::string text(const std::string& whose) const {
        if (count_ != 1) return std::to_string(count_) + " versions of " + whose + " are marked as the newest";
        return "the marks of the versions of " + whose + " do not agree with their times";
    }

private:
    int count_ = 0;
    int rows_ = 0;
    bool is_right_ = true;
};

integrity_check::integrity_check(sql_connection& c, const share& of)
    : root_guid_(of.root_guid),
      top_(object_of(c, of.subclient_id, "")),
      root_(object_of(c, of.subclient_id, root_guid_)),
      connection_(c),
      page_(c, of.subclient_id, page_objects),
      page_ids_(c),
      ways_(c, of.subclient_id, top_),
      in_top_(c, in_top_sql),
      read_page_(c, page_sql),
      versions_(c, versions_sql(c).c_str()),
      extents_(c, extents_sql(c).c_str()),
      places_(c, places_sql(c).c_str()),
      neighbours_(c, neighbours_sql) {}

check_step integrity_check::step(const step_place& from) {
    const char part = from.empty() ? among_objects : from.front();
    const step_place place = from.empty() ? from : from.substr(1);
    if (part != among_objects && part != among_rows) throw std::invalid_argument("the place is none that a step told");
    if (from.empty()) check_root();
    if (part == among_rows) {
        check_strays(place);
    } else if (page_.begin_after(place)) {
        read_page();
        check_versions();
        check_unversioned();
        check_extents();
        check_places();
        done_.next = among_objects + page_.last();
    } else {
        check_strays({});
    }
    return std::move(done_);
}

void integrity_check::read_page() {
    const statement_run run(read_page_);
    page_.bind(read_page_);
    while (read_page_.step()) {
        page_ids_.add(read_page_.integer(0));
        objects_.emplace(read_page_.text(1), page_object{read_page_.integer_if_any(2), false});
        ways_.add(read_page_.integer(0), read_page_.integer_if_any(3));
    }
    ways_.read();
}

void integrity_check::check_strays(const step_place& from) {
    stray_rows rows(connection_, page_.share());
    const auto next = rows.step(from, [this](std::string text) { add("stray", "", std::move(text)); });
    if (next) done_.next = among_rows + *next;
}

/// After the versions.
void integrity_check::check_unversioned() {
    for (const auto& [object, row] : objects_) {
        if (row.newest && !row.has_versions) add("newest", object, "the object names a newest version and has none");
    }
}

void integrity_check::add(const char* kind, std::string_view object, std::string text) {
    if (done_.findings.size() == most_findings) {
        ++done_.untold;
        return;
    }
    done_.findings.push_back({kind, std::string(object), std::move(text)});
}

void integrity_check::check_root() {
    bool has_root = false;
    const statement_run run(in_top_);
    in_top_.bind(1, page_.share()).bind(2, top_);
    while (top_ != 0 && in_top_.step()) {
        if (in_top_.text(0) == root_guid_)
            has_root = true;
        else
            add("root", in_top_.text(0), "it stands beside the root of the share");
    }
    if (!has_root) add("root", root_guid_, "the share has no root");
}

void integrity_check::check_versions() {
    std::string object;
    marks seen;
    const auto close = [&] {
        if (seen.fault() != nullptr) add(seen.fault(), object, seen.text("the object"));
    };
    const statement_run run(versions_);
    versions_.bind(1, page_.share()).bind(2, page_ids_.bytes());
    seen.begin();
    while (versions_.step()) {
        const bool is_first = object != versions_.text(guid);
        if (is_first) {
            close();
            seen.begin();
            object = versions_.text(guid);
            ++done_.objects;
        }
        seen.see(versions_.integer(state), versions_.integer(dtime));
        check_version(is_first);
    }
    close();
}

void integrity_check::check_version(bool is_first) {
    const std::string_view object = versions_.text(guid);
    const std::string called = "version " + quoted(versions_.text(version_guid));
    if (versions_.text(key) != name_key(folded_name(versions_.text(name))))
        add("name", object, called + " cannot be found by its name " + quoted(versions_.text(name)));
    if (!is_first) {
        if (!versions_.is_null(parent) && versions_.is_null(known_parent))
            add("orphan", object, called + " stood in a directory that is not there");
        return;
    }
    page_object& row = objects_.find(object)->second;
    row.has_versions = true;
    if (row.newest != versions_.integer(version)) add("newest", object, "the object does not name its newest version");
    if (versions_.integer(id) == root_ && versions_.integer(state) != 0) add("root", object, "the root has ended");
    check_way_up();
}

void integrity_check::check_way_up() {
    const std::string_view object = versions_.text(guid);
    switch (ways_.of(versions_.integer(id))) {
        case ways_up::end::rooted:
            break;
        case ways_up::end::waiting:
            ++done_.waiting;
            break;
        case ways_up::end::orphan:
            add("orphan", object, "a directory above it is not there");
            break;
        case ways_up::end::circle:
            add("cycle", object, "the directories above it form a circle");
            break;
    }
}

void integrity_check::check_extents() {
    std::string file;
    std::int64_t number = 0;
    marks seen;
    const auto close = [&] {
        if (seen.fault() != nullptr) add(seen.fault(), file, seen.text("extent " + std::to_string(number)));
    };
    const statement_run run(extents_);
    extents_.bind(1, page_.share()).bind(2, page_ids_.bytes());
    seen.begin();
    while (extents_.step()) {
        if (extents_.text(0) != file || extents_.integer(1) != number) {
            close();
            seen.begin();
            file = extents_.text(0);
            number = extents_.integer(1);
        }
        seen.see(extents_.integer(2), extents_.integer(3));
    }
    close();
}

void integrity_check::check_places() {
    const statement_run run(places_);
    places_.bind(1, page_.share()).bind(2, page_ids_.bytes());
    while (places_.step()) {
        const statement_run others(neighbours_);
        neighbours_.bind(1, page_.share()).bind(2, places_.integer(2)).bind(3, places_.text(3));
        neighbours_.bind(4, places_.text(4)).bind(5, places_.integer(1));
        while (neighbours_.step()) {
            // A row that belongs to no object is told of as a stray.
            if (neighbours_.is_null(0)) continue;
            add("place", places_.text(0), "it lives in the same place as " + quoted(neighbours_.text(0)));
        }
    }
}

}  // namespace index_server
