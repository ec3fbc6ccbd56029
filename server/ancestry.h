// Builds the path of an object up from its parents, for searches that begin with a GUID.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "server/engine.h"
#include "server/history.h"
#include "server/search_query.h"

namespace index_server {

/// Where an object stands at the asked moment.
struct standing {
    std::optional<std::string> path;  ///< from above the share's root; nothing where the way up is not known
    std::int64_t end_s = 0;           ///< when it, or one above it, ended; 0 for not at all
};

/// Works on the history of one connection, which outlives this. locks: called inside a read transaction.
class ancestry {
public:
    explicit ancestry(history& versions) : history_(versions) {}

    /// Begins the questions of one search.
    void begin(const search_query& query);
    /// Where the object stands; what nothing is known of has no path and has not ended.
    const standing& of(std::int64_t object);

private:
    std::optional<version_in_place> version_then(std::int64_t object);
    standing climb(std::int64_t object);

    history& history_;
    const search_query* query_ = nullptr;
    std::int64_t top_ = 0;
    std::map<std::int64_t, standing> known_;
};

}  // namespace index_server
