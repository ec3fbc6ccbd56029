// A prepared statement of PostgreSQL.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "server/postgresql_connection.h"

namespace index_server {

/// Prepared on the server by its first run; each later run is one round trip, which brings all rows.
class postgresql_cursor : public sql_cursor {
public:
    postgresql_cursor(postgresql_connection& connection, const char* sql);

    void bind_null(int index) override;
    void bind_integer(int index, std::int64_t value) override;
    void bind_text(int index, std::string_view text) override;
    bool step() override;
    void reset() noexcept override { result_.reset(); }
    std::int64_t integer(int column) const override;
    std::string_view text(int column) const override;
    bool is_null(int column) const override;

private:
    void prepare();
    void run();

    using digits = std::array<char, 24>;

    postgresql_connection& connection_;
    std::string sql_;   ///< until it has been prepared
    std::string name_;  ///< from then on

    // Numbers travel as decimal text, which fits every type of number; texts travel as they are, zero bytes included.
    std::vector<const char*> values_;
    std::vector<int> lengths_;
    std::vector<int> formats_;
    std::vector<digits> numbers_;

    postgresql_result result_;  ///< of the run under way
    int row_ = 0;
};

}  // namespace index_server
