// Many ids as one parameter of a statement.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "server/postgresql_array.h"
#include "server/sql.h"

namespace index_server {

/// Ids in the form that the connection's engine takes: an array, or a text of JSON. Rows are then looked up id by id,
/// whatever the engine believes to know of its tables.
class id_list {
public:
    explicit id_list(const sql_connection& connection);

    void add(std::int64_t id);
    bool is_empty() const { return size_ == 0; }
    std::size_t size() const { return size_; }

    /// To be bound as a text. Valid until the next change; not for a list without ids.
    std::string_view bytes();

    /// The condition that a column has one of the ids that are bound to the parameter.
    static std::string among(const sql_connection& connection, const std::string& column, int parameter);
    /// A table with a row for each of these ids, in its column `value`; to be followed by a name.
    static std::string listed(const sql_connection& connection, int parameter);

private:
    const sql_dialect dialect_;
    std::size_t size_ = 0;
    postgresql_array array_{postgresql_array::element::bigint};
    std::string json_ = "[";
};

/// The first column of all rows that the statement gives.
id_list ids_of(const sql_connection& connection, sql_statement& statement);

}  // namespace index_server
