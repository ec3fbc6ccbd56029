// Reading along the index of places.
#include "server/directory_walk.h"

#include <algorithm>
#include <limits>

namespace index_server {

namespace {

constexpr std::int64_t living = 0, ended = 1;
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

// The columns and the filter that all of them share, so that the index alone answers.
#define IIF_ROWS "SELECT id, vtime, dtime FROM version WHERE share = ?1 AND parent = ?2 "
#define IIF_TYPES "AND ((1 << coalesce(data_type, 1)) & CAST(?3 AS BIGINT)) <> 0 "
// A comparison of rows would say the same in one statement, but engines then read all rows of the same moment again for
// each page; a directory that was filled at once has a million of these.
constexpr const char* rows_of_moment_sql =
    IIF_ROWS IIF_TYPES "AND state = ?4 AND vtime = ?5 AND id > ?6 ORDER BY id LIMIT ?7";
constexpr const char* rows_after_sql = IIF_ROWS IIF_TYPES "AND state = ?4 AND vtime > ?5 ORDER BY vtime, id LIMIT ?6";
constexpr const char* find_place_sql =
    "SELECT state, vtime, id FROM version WHERE share = ?1 AND parent = ?2 AND state < 2 " IIF_TYPES
    "ORDER BY state, vtime, id LIMIT 1 OFFSET ?4";
#undef IIF_ROWS
#undef IIF_TYPES
constexpr const char* find_newest_sql = "SELECT coalesce(max(id), 0) FROM version WHERE share = ?1";
// Here rows of all shares are numbered in one order of arrival, and only the whole table has an index by row.
constexpr const char* find_newest_in_table_sql = "SELECT coalesce(max(id), 0) FROM version WHERE ?1 > 0";
constexpr const char* versions_of_row_sql =
    "SELECT id, parent, dtime, vtime FROM version WHERE share = ?1 "
    "AND object = (SELECT object FROM version WHERE share = ?1 AND id = ?2) ORDER BY vtime DESC, arrival DESC";

}  // namespace

directory_walk::directory_walk(sql_connection& connection, walk_memory& memory)
    : memory_(memory),
      find_newest_(connection,
                   connection.dialect() == sql_dialect::sqlite ? find_newest_in_table_sql : find_newest_sql),
      find_place_(connection, find_place_sql),
      rows_of_moment_(connection, rows_of_moment_sql),
      rows_after_(connection, rows_after_sql),
      versions_of_row_(connection, versions_of_row_sql) {}

std::vector<search_hit> directory_walk::page(const share& target, const search_query& query, std::int64_t directory) {
    share_ = target.subclient_id;
    const std::string listing = listing_key(target, query);
    std::optional<walk> known = memory_.resume(listing, query.page_start);
    const bool goes_on = known && !known->listing && known->directory == directory;
    walk here = goes_on ? *known : begin(query, directory);
    const walk_place from = here.place;

    std::vector<search_hit> hits;
    for (std::int64_t wanted = query.page_size; wanted > 0;
         wanted = query.page_size - static_cast<std::int64_t>(hits.size())) {
        // Without more rows this is the last page.
        if (read_on(query, here, wanted, hits) == 0) return hits;
    }
    const std::int64_t newest = newest_row();
    if (!here.read.empty() && here.read.back().newest == newest)
        here.read.back().end = here.place;
    else
        here.read.push_back({here.place, newest});
    memory_.keep(listing, here, query.page_start + query.page_size, query.page_start, from);
    return hits;
}

/// A walk whose place is found by counting from the front.
walk directory_walk::begin(const search_query& query, std::int64_t directory) {
    walk here;
    here.directory = directory;
    here.place = {living, smallest, smallest};
    if (query.page_start == 0) return here;
    const statement_run run(find_place_);
    find_place_.bind(1, share_).bind(2, directory).bind(3, std::int64_t{query.data_types});
    find_place_.bind(4, query.page_start - 1);
    if (find_place_.step())
        here.place = {find_place_.integer(0), find_place_.integer(1), find_place_.integer(2)};
    else
        here.place = {ended, largest, largest};
    return here;
}

std::int64_t directory_walk::newest_row() {
    const statement_run run(find_newest_);
    return find_newest_.bind(1, share_).step() ? find_newest_.integer(0) : 0;
}

std::size_t directory_walk::read_on(const search_query& query, walk& here, std::int64_t most,
                                    std::vector<search_hit>& hits) {
    const walk_place from = here.place;
    const auto types = std::int64_t{query.data_types};
    rows_of_moment_.bind(1, share_).bind(2, here.directory).bind(3, types).bind(4, from.state).bind(5, from.vtime);
    rows_of_moment_.bind(6, from.row).bind(7, most);
    std::size_t got = take(rows_of_moment_, from.state, here, hits);
    std::int64_t after = from.vtime;
    for (std::int64_t state = from.state; state <= ended; ++state, after = smallest) {
        const std::int64_t wanted = most - static_cast<std::int64_t>(got);
        if (wanted == 0) break;
        rows_after_.bind(1, share_).bind(2, here.directory).bind(3, types);
        rows_after_.bind(4, state).bind(5, after).bind(6, wanted);
        got += take(rows_after_, state, here, hits);
    }
    return got;
}

std::size_t directory_walk::take(sql_statement& rows, std::int64_t state, walk& here, std::vector<search_hit>& hits) {
    std::size_t count = 0;
    const statement_run run(rows);
    for (; rows.step(); ++count) {
        here.place = {state, rows.integer(1), rows.integer(0)};
        const bool came_meanwhile = !here.read.empty() && here.place.row > here.read.front().newest;
        if (came_meanwhile && was_listed(here, here.place.row)) continue;
        hits.push_back({here.place.row, rows.integer(2), std::nullopt});
    }
    return count;
}

/// Whether the reader has met the object of this row in another version: one that was the object's newest when the
/// stretch was read in which it stands.
bool directory_walk::was_listed(const walk& here, std::int64_t row) {
    std::vector<std::int64_t> newer;
    const statement_run run(versions_of_row_);
    versions_of_row_.bind(1, share_).bind(2, row);
    for (; versions_of_row_.step(); newer.push_back(versions_of_row_.integer(0))) {
        const std::int64_t version = versions_of_row_.integer(0);
        if (version == row || versions_of_row_.integer(1) != here.directory) continue;
        const std::int64_t state = versions_of_row_.integer(2) == 0 ? living : ended;
        const walk_place place{state, versions_of_row_.integer(3), version};
        const auto stretch = std::ranges::lower_bound(here.read, place, {}, &walk::stretch::end);
        if (stretch == here.read.end()) continue;
        const auto was_there = [&](std::int64_t other) { return other <= stretch->newest; };
        if (was_there(version) && std::ranges::none_of(newer, was_there)) return true;
    }
    return false;
}

}  // namespace index_server
