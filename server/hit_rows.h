// The rows behind hits, many to a statement: one statement for each row would cost a storage on another machine a round
// trip each.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "server/candidates.h"
#include "server/sql.h"

namespace index_server {

/// What is stored of one hit; no value in a column that nobody has told.
struct hit_row {
    bool found = false;
    std::vector<std::optional<std::int64_t>> numbers;
    std::vector<std::optional<std::string>> texts;
    std::vector<std::pair<std::string, std::string>> properties;  ///< by name
};

/// Prepared on one connection. locks: called inside the read transaction that the hits come from.
class hit_rows {
public:
    /// How many hits are read at once at most.
    static constexpr std::size_t at_once = 64;

    /// What is selected: the row's id, `numbers` and then `texts` of tables whose main one is called r; and id, name
    /// and value of the properties, up to the column of the id in a condition on the share, which is ?1.
    struct selection {
        const char* rows;
        int numbers;
        int texts;
        const char* properties;
    };
    hit_rows(sql_connection& connection, const selection& what);

    /// The rows of the hits, in their order, until the next call.
    const std::vector<hit_row>& read(std::int64_t share, std::span<const search_hit> hits, bool with_properties);

private:
    /// A statement for one id, and one for many.
    struct statements {
        statements(sql_connection& connection, const std::string& select, const char* order);
        sql_statement& for_ids(std::int64_t share, std::span<const search_hit> hits);
        sql_statement one;
        sql_statement many;
    };

    bool may_have_properties(std::int64_t share);
    template <class Visit>
    void visit(statements& select, std::int64_t share, std::span<const search_hit> hits, const Visit& each);
    void take(const sql_statement& from, hit_row& row) const;

    using id_place = std::pair<std::int64_t, std::size_t>;  ///< an id and its place among the hits

    const int numbers_;
    const int texts_;
    statements rows_of_;
    statements properties_of_;
    sql_statement any_property_;
    const bool is_embedded_;
    std::vector<hit_row> rows_;
    std::vector<id_place> places_;  ///< by id
};

}  // namespace index_server
