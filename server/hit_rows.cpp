// Reading of rows by lists of ids.
#include "server/hit_rows.h"

#include <algorithm>

namespace index_server {

namespace {

std::string with_ids(const std::string& select, std::size_t count, const char* order) {
    std::string sql = select + " IN (?2";
    for (std::size_t i = 1; i < count; ++i)
        sql += ", ?" + std::to_string(i + 2);
    return sql + ")" + order;
}

/// Of the two indexes that a condition on share and id allows, one holds all rows of the share; the plus sign keeps
/// the engine that has both from it. The other engine keeps rows by share and needs the plain condition.
std::string of_rows(sql_dialect dialect, const char* select) {
    return std::string(select) + " WHERE " + (dialect == sql_dialect::sqlite ? "+" : "") + "r.share = ?1 AND r.id";
}

}  // namespace

hit_rows::statements::statements(sql_connection& connection, const std::string& select, const char* order)
    : one(connection, with_ids(select, 1, order).c_str()), many(connection, with_ids(select, at_once, order).c_str()) {}

/// A list that is not full is filled up with its last id, which selects nothing twice.
sql_statement& hit_rows::statements::for_ids(std::int64_t share, std::span<const search_hit> hits) {
    sql_statement& chosen = hits.size() == 1 ? one : many;
    const std::size_t count = hits.size() == 1 ? 1 : at_once;
    chosen.bind(1, share);
    for (std::size_t i = 0; i < count; ++i)
        chosen.bind(static_cast<int>(i) + 2, hits[std::min(i, hits.size() - 1)].version);
    return chosen;
}

hit_rows::hit_rows(sql_connection& connection, const selection& what)
    : numbers_(what.numbers),
      texts_(what.texts),
      rows_of_(connection, of_rows(connection.dialect(), what.rows), ""),
      properties_of_(connection, what.properties, " ORDER BY 1, 2"),
      any_property_(connection, (std::string(what.properties) + " BETWEEN ?2 AND ?3 LIMIT 1").c_str()),
      is_embedded_(connection.dialect() == sql_dialect::sqlite) {}

const std::vector<hit_row>& hit_rows::read(std::int64_t share, std::span<const search_hit> hits, bool with_properties) {
    rows_.resize(hits.size());
    places_.clear();
    for (std::size_t i = 0; i < hits.size(); ++i) {
        rows_[i].found = false;
        rows_[i].properties.clear();
        places_.emplace_back(hits[i].version, i);
    }
    std::sort(places_.begin(), places_.end());
    visit(rows_of_, share, hits, [this](const sql_statement& from, hit_row& row) { take(from, row); });
    if (!with_properties || !may_have_properties(share)) return rows_;
    visit(properties_of_, share, hits,
          [](const sql_statement& from, hit_row& row) { row.properties.emplace_back(from.text(1), from.text(2)); });
    return rows_;
}

/// Most pages have none, which one look into the index tells as well as a look for each row. To a storage on another
/// machine it would be one way more.
bool hit_rows::may_have_properties(std::int64_t share) {
    if (!is_embedded_ || places_.size() < 2) return true;
    const statement_run run(any_property_);
    any_property_.bind(1, share).bind(2, places_.front().first).bind(3, places_.back().first);
    return any_property_.step();
}

template <class Visit>
void hit_rows::visit(statements& select, std::int64_t share, std::span<const search_hit> hits, const Visit& each) {
    if (hits.empty()) return;
    sql_statement& rows = select.for_ids(share, hits);
    const statement_run run(rows);
    while (rows.step()) {
        const std::int64_t id = rows.integer(0);
        // One version can be hit twice: under two paths that both led to its directory.
        for (auto place = std::lower_bound(places_.begin(), places_.end(), id_place{id, 0});
             place != places_.end() && place->first == id; ++place)
            each(rows, rows_[place->second]);
    }
}

void hit_rows::take(const sql_statement& from, hit_row& row) const {
    row.found = true;
    row.numbers.resize(static_cast<std::size_t>(numbers_));
    row.texts.resize(static_cast<std::size_t>(texts_));
    int column = 1;
    for (auto& number : row.numbers)
        number = from.integer_if_any(column++);
    for (auto& text : row.texts) {
        if (from.is_null(column))
            text.reset();
        else if (text)
            text->assign(from.text(column));
        else
            text.emplace(from.text(column));
        ++column;
    }
}

}  // namespace index_server
