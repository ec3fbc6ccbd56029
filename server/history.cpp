// Reads the versions in a place.
#include "server/history.h"

#include "server/name_folding.h"
#include "server/version_time.h"

namespace index_server {

namespace {

#define IIF_COLUMNS "SELECT id, object, vtime, dtime, coalesce(data_type, 1), parent, name FROM version "
// Everything is in one direction, as the index has it, so that nothing is sorted; and a name is looked up by name, in
// the words of the index of names, which end in the state even where every state will do. An engine that knows nothing
// of a table yet would take all that stands in the directory otherwise.
constexpr const char* newest_in_directory_sql = IIF_COLUMNS "WHERE share = ?1 AND parent = ?2 AND state < 2";
constexpr const char* newest_of_name_sql =
    IIF_COLUMNS "WHERE share = ?1 AND parent = ?2 AND name_key = ?3 AND state + 0 < 2";
constexpr const char* all_in_directory_sql = IIF_COLUMNS
    "WHERE share = ?1 AND object IN (SELECT object FROM version WHERE share = ?1 AND parent = ?2) "
    "ORDER BY object DESC, vtime DESC, arrival DESC";
constexpr const char* all_of_name_sql = IIF_COLUMNS
    "WHERE share = ?1 AND object IN "
    "(SELECT object FROM version WHERE share = ?1 AND parent = ?2 AND name_key = ?3 AND state + 0 < 3) "
    "ORDER BY object DESC, vtime DESC, arrival DESC";
constexpr const char* newest_of_object_sql =
    IIF_COLUMNS "WHERE share = ?1 AND object = ?2 ORDER BY vtime DESC, arrival DESC LIMIT 1";
constexpr const char* all_of_object_sql =
    IIF_COLUMNS "WHERE share = ?1 AND object = ?2 ORDER BY vtime DESC, arrival DESC";
#undef IIF_COLUMNS

version_in_place read_row(const sql_statement& row) {
    return {row.integer(0), row.integer(1), row.integer(2), row.integer(3),
            row.integer(4), row.integer(5), false,          std::string(row.text(6))};
}

/// Takes over what the object's next newer version says about the end of this one's stay.
void end_by_newer(version_in_place& version, const version_in_place& newer) {
    const bool stays = version.parent == newer.parent && version.name == newer.name;
    // The epoch's own second cannot be told from no end, so the one after it stands for it.
    const std::int64_t moved_s = second_of(newer.vtime) == 0 ? 1 : second_of(newer.vtime);
    version.end_s = earlier_end(version.end_s, stays ? newer.end_s : moved_s);
}

}  // namespace

history::history(sql_connection& connection)
    : find_top_(connection, "SELECT id FROM object WHERE share = ?1 AND guid = ''"),
      newest_in_directory_(connection, newest_in_directory_sql),
      newest_of_name_(connection, newest_of_name_sql),
      all_in_directory_(connection, all_in_directory_sql),
      all_of_name_(connection, all_of_name_sql),
      newest_of_object_(connection, newest_of_object_sql),
      all_of_object_(connection, all_of_object_sql) {}

std::int64_t history::top() {
    const auto known = tops_.find(share_);
    if (known != tops_.end()) return known->second;
    const statement_run run(find_top_);
    if (!find_top_.bind(1, share_).step()) return 0;
    return tops_[share_] = find_top_.integer(0);
}

bool history::matches(const place_filter& place, std::string_view name) const {
    if (!place.name) return true;
    return place.fold_case ? folded_name(name) == folded_ : name == *place.name;
}

void history::newest(const place_filter& place, const std::function<void(const version_in_place&)>& visit) {
    sql_statement& rows = place.name ? newest_of_name_ : newest_in_directory_;
    const statement_run run(rows);
    rows.bind(1, share_).bind(2, place.parent);
    if (place.name) rows.bind(3, name_key(folded_ = folded_name(*place.name)));
    while (rows.step()) {
        version_in_place version = read_row(rows);
        version.in_place = true;
        if (matches(place, version.name)) visit(version);
    }
}

void history::all(const place_filter& place, const std::function<void(const std::vector<version_in_place>&)>& visit) {
    sql_statement& rows = place.name ? all_of_name_ : all_in_directory_;
    const statement_run run(rows);
    rows.bind(1, share_).bind(2, place.parent);
    if (place.name) rows.bind(3, name_key(folded_ = folded_name(*place.name)));

    std::vector<version_in_place> versions;
    while (rows.step()) {
        version_in_place version = read_row(rows);
        if (!versions.empty() && versions.back().object != version.object) {
            visit(versions);
            versions.clear();
        }
        version.in_place = version.parent == place.parent && matches(place, version.name);
        if (!versions.empty()) end_by_newer(version, versions.back());
        versions.push_back(std::move(version));
    }
    if (!versions.empty()) visit(versions);
}

std::optional<version_in_place> history::newest_of(std::int64_t object) {
    const statement_run run(newest_of_object_);
    if (!newest_of_object_.bind(1, share_).bind(2, object).step()) return std::nullopt;
    return read_row(newest_of_object_);
}

std::vector<version_in_place> history::all_of(std::int64_t object) {
    std::vector<version_in_place> versions;
    const statement_run run(all_of_object_);
    all_of_object_.bind(1, share_).bind(2, object);
    while (all_of_object_.step()) {
        version_in_place version = read_row(all_of_object_);
        if (!versions.empty()) end_by_newer(version, versions.back());
        versions.push_back(std::move(version));
    }
    return versions;
}

}  // namespace index_server
