// Rows that belong to nothing: what they name as their owner has no row of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "server/administration.h"
#include "server/sql.h"

namespace index_server {

/// A walk along the owners that the rows of a share name. locks: used inside one read transaction of the connection.
class stray_rows {
public:
    stray_rows(sql_connection& connection, std::int64_t share) : connection_(connection), share_(share) {}

    /// Looks at some rows from a place on, empty for the beginning, and tells `found` a sentence for each owner that is
    /// not there. Nothing when no row is left. Throws std::invalid_argument for a place that no step told.
    std::optional<step_place> step(const step_place& from, const std::function<void(std::string)>& found);

private:
    sql_connection& connection_;
    const std::int64_t share_;
};

}  // namespace index_server
