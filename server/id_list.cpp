// Lists of ids.
#include "server/id_list.h"

namespace index_server {

id_list::id_list(const sql_connection& connection) : dialect_(connection.dialect()) {}

void id_list::add(std::int64_t id) {
    ++size_;
    if (dialect_ == sql_dialect::postgresql)
        array_.add(id);
    else
        json_.append(std::to_string(id)) += ',';
}

std::string_view id_list::bytes() {
    if (dialect_ == sql_dialect::postgresql) return array_.bytes();
    json_.back() = ']';
    return json_;
}

std::string id_list::among(const sql_connection& connection, const std::string& column, int parameter) {
    const std::string bound = "?" + std::to_string(parameter);
    return connection.dialect() == sql_dialect::postgresql
               ? column + " = ANY(" + bound + "::bigint[])"
               : column + " IN (SELECT value FROM json_each(" + bound + "))";
}

std::string id_list::listed(const sql_connection& connection, int parameter) {
    const std::string bound = "?" + std::to_string(parameter);
    return connection.dialect() == sql_dialect::postgresql ? "(SELECT unnest(" + bound + "::bigint[]) AS value)"
                                                           : "json_each(" + bound + ")";
}

id_list ids_of(const sql_connection& connection, sql_statement& statement) {
    id_list ids(connection);
    const statement_run run(statement);
    while (statement.step())
        ids.add(statement.integer(0));
    return ids;
}

}  // namespace index_server
