// Rows in bulk into a table of PostgreSQL.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "server/sql.h"

namespace index_server {

/// One COPY, in its binary form: the values of a row in the order of the columns, each row begun with `row`. locks:
/// inside a write transaction of the connection, which does nothing else until the copy has ended. Failures are thrown
/// as those of statements are.
class postgresql_copy {
public:
    /// `sql` is of the form "COPY table(columns) FROM STDIN (FORMAT binary)".
    postgresql_copy(sql_connection& connection, const char* sql);
    /// Gives the copy up, unless it was finished.
    ~postgresql_copy();
    postgresql_copy(const postgresql_copy&) = delete;
    postgresql_copy& operator=(const postgresql_copy&) = delete;

    postgresql_copy& row(int columns);
    postgresql_copy& add(std::int64_t value);
    postgresql_copy& add(const std::optional<std::int64_t>& value) { return value ? add(*value) : add_null(); }
    /// For a column of type INTEGER; the others are for BIGINT.
    postgresql_copy& add_small(std::int64_t value);
    postgresql_copy& add_small(const std::optional<std::int64_t>& value) {
        return value ? add_small(*value) : add_null();
    }
    postgresql_copy& add(std::string_view text);
    postgresql_copy& add_text_if_any(std::string_view text) { return text.empty() ? add_null() : add(text); }
    postgresql_copy& add_null();

    /// The rows are in the table on return.
    void finish();

private:
    void put(std::uint64_t value, int bytes);
    void send();

    class postgresql_connection& connection_;
    std::string pending_;
    bool is_open_ = false;
};

}  // namespace index_server
