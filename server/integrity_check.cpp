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

constexpr const char* versions_sql =
    "SELECT o.id, o.guid, o.newest, v.id, v.version_guid, v.parent, p.id, v.name, v.name_key, v.state, v.dtime "
    "FROM object o JOIN version v ON v.share = o.share AND v.object = o.id "
    "LEFT JOIN object p ON p.share = o.share AND p.id = v.parent "
    "WHERE " IIF_OF_PAGE " ORDER BY o.guid, v.vtime DESC, v.arrival DESC";

constexpr const char* extents_sql =
    "SELECT o.guid, e.number, e.state, e.dtime "
    "FROM object o JOIN extent e ON e.share = o.share AND e.file = o.id "
    "WHERE " IIF_OF_PAGE " ORDER BY o.guid, e.number, e.vtime DESC, e.arrival DESC";

// Each pair once. Neighbours are looked up by name and not among all that live in the directory, hence the signs.
constexpr const char* places_sql =
    "SELECT o.guid, other.guid FROM object o CROSS JOIN version v CROSS JOIN version w CROSS JOIN object other "
    "WHERE " IIF_OF_PAGE
    " AND v.share = ?1 AND v.object = o.id AND +v.state = 0 "
    "AND w.share = ?1 AND w.parent = v.parent AND w.name_key = v.name_key AND w.name = v.name AND +w.state = 0 "
    "AND +w.object < o.id AND other.share = ?1 AND other.id = w.object ORDER BY o.guid";

constexpr const char* unversioned_sql =
    "SELECT o.guid FROM object o WHERE " IIF_OF_PAGE
    " AND o.newest IS NOT NULL AND NOT EXISTS(SELECT 1 FROM version v WHERE v.share = ?1 AND v.object = o.id) "
    "ORDER BY o.guid";

enum column : int { id, guid, newest, version, version_guid, parent, known_parent, name, key, state, dtime };

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
      connection_(c),
      page_(c, of.subclient_id, page_objects),
      find_object_(c, "SELECT id FROM object WHERE share = ?1 AND guid = ?2"),
      has_object_(c, "SELECT 1 FROM object WHERE share = ?1 AND id = ?2"),
      in_top_(c,
              "SELECT DISTINCT o.guid FROM version v JOIN object o ON o.share = v.share AND o.id = v.object "
              "WHERE v.share = ?1 AND v.parent = ?2 ORDER BY o.guid LIMIT 100"),
      parent_(c,
              "SELECT parent FROM version WHERE share = ?1 AND object = ?2 ORDER BY vtime DESC, arrival DESC LIMIT 1"),
      versions_(c, versions_sql),
      extents_(c, extents_sql),
      places_(c, places_sql),
      unversioned_(c, unversioned_sql) {
    const auto find = [&](std::string_view wanted) {
        const statement_run run(find_object_);
        return find_object_.bind(1, page_.share()).bind(2, wanted).step() ? find_object_.integer(0) : 0;
    };
    top_ = find("");
    root_ = find(root_guid_);
}

check_step integrity_check::step(const step_place& from) {
    const char part = from.empty() ? among_objects : from.front();
    const step_place place = from.empty() ? from : from.substr(1);
    if (part != among_objects && part != among_rows) throw std::invalid_argument("the place is none that a step told");
    if (from.empty()) check_root();
    if (part == among_rows) {
        check_strays(place);
    } else if (page_.begin_after(place)) {
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

void integrity_check::check_strays(const step_place& from) {
    stray_rows rows(connection_, page_.share());
    const auto next = rows.step(from, [this](std::string text) { add("stray", "", std::move(text)); });
    if (next) done_.next = among_rows + *next;
}

void integrity_check::check_unversioned() {
    const statement_run run(unversioned_);
    page_.bind(unversioned_);
    while (unversioned_.step())
        add("newest", unversioned_.text(0), "the object names a newest version and has none");
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
    page_.bind(versions_);
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
    if (versions_.integer(newest) != versions_.integer(version))
        add("newest", object, "the object does not name its newest version");
    if (versions_.integer(id) == root_ && versions_.integer(state) != 0) add("root", object, "the root has ended");
    switch (chain_of(versions_.integer(id))) {
        case chain::rooted:
            break;
        case chain::waiting:
            ++done_.waiting;
            break;
        case chain::orphan:
            add("orphan", object, "a directory above it is not there");
            break;
        case chain::circle:
            add("cycle", object, "the directories above it form a circle");
            break;
    }
}

/// Where the way up from an object ends. What was found of the objects on the way is kept for the rest of the page.
integrity_check::chain integrity_check::chain_of(std::int64_t object) {
    std::vector<std::int64_t> way;
    std::int64_t here = object;
    chain end = chain::waiting;
    for (;;) {
        // An object counts as part of a circle until its way has turned out to lead elsewhere.
        const auto [known, is_new] = chains_.try_emplace(here, chain::circle);
        if (!is_new) {
            end = known->second;
            break;
        }
        way.push_back(here);
        const statement_run run(parent_);
        if (here == top_) {
            end = chain::rooted;
            break;
        }
        if (!parent_.bind(1, page_.share()).bind(2, here).step()) {
            end = is_object(here) ? chain::waiting : chain::orphan;
            break;
        }
        if (parent_.is_null(0)) {
            end = chain::waiting;
            break;
        }
        here = parent_.integer(0);
    }
    for (const std::int64_t passed : way)
        chains_[passed] = end;
    return end;
}

bool integrity_check::is_object(std::int64_t object) {
    const statement_run run(has_object_);
    return has_object_.bind(1, page_.share()).bind(2, object).step();
}

void integrity_check::check_extents() {
    std::string file;
    std::int64_t number = 0;
    marks seen;
    const auto close = [&] {
        if (seen.fault() != nullptr) add(seen.fault(), file, seen.text("extent " + std::to_string(number)));
    };
    const statement_run run(extents_);
    page_.bind(extents_);
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
    page_.bind(places_);
    while (places_.step())
        add("place", places_.text(0), "it lives in the same place as " + quoted(places_.text(1)));
}

}  // namespace index_server
