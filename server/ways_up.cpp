// Reading and following the ways up.
#include "server/ways_up.h"

#include <string>
#include <utility>

#include "server/id_list.h"

namespace index_server {

namespace {

/// A row for each object: its parent, and whatever says that it is there. An object's newest version is the first of an
/// index, however many there are.
std::string level_sql(const sql_connection& c) {
    return "SELECT l.value, (SELECT v.parent FROM version v WHERE v.share = ?1 AND v.object = l.value "
           "ORDER BY v.vtime DESC, v.arrival DESC LIMIT 1), "
           "coalesce((SELECT o.id FROM object o WHERE o.share = ?1 AND o.id = l.value), "
           "(SELECT v.id FROM version v WHERE v.share = ?1 AND v.object = l.value LIMIT 1)) FROM " +
           id_list::listed(c, 2) + " l";
}

}  // namespace

ways_up::ways_up(sql_connection& c, std::int64_t share, std::int64_t top)
    : share_(share), top_(top), connection_(c), read_level_(c, level_sql(c).c_str()) {}

void ways_up::note(std::int64_t object, const stage& here) {
    stages_[object] = here;
    if (here.parent && *here.parent != top_) named_.push_back(*here.parent);
}

void ways_up::read() {
    while (!named_.empty()) {
        std::vector<std::int64_t> level;
        for (const std::int64_t object : std::exchange(named_, {})) {
            if (stages_.try_emplace(object).second) level.push_back(object);
        }
        if (!level.empty()) read_level(level);
    }
}

void ways_up::read_level(const std::vector<std::int64_t>& objects) {
    id_list ids(connection_);
    for (const std::int64_t object : objects)
        ids.add(object);
    const statement_run run(read_level_);
    read_level_.bind(1, share_).bind(2, ids.bytes());
    while (read_level_.step())
        note(read_level_.integer(0), {read_level_.integer_if_any(1), !read_level_.is_null(2)});
}

ways_up::end ways_up::of(std::int64_t object) {
    std::vector<std::int64_t> way;
    std::int64_t here = object;
    end found = end::waiting;
    for (;;) {
        // An object counts as part of a circle until its way has turned out to lead elsewhere.
        const auto [known, is_new] = ends_.try_emplace(here, end::circle);
        if (!is_new) {
            found = known->second;
            break;
        }
        way.push_back(here);
        if (here == top_) {
            found = end::rooted;
            break;
        }
        const stage& at = stages_.at(here);
        if (!at.parent) {
            found = at.is_there ? end::waiting : end::orphan;
            break;
        }
        here = *at.parent;
    }
    for (const std::int64_t passed : way)
        ends_[passed] = found;
    return found;
}

}  // namespace index_server
