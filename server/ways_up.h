// The ways up from objects, for a check.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "server/sql.h"

namespace index_server {

/// What is above some objects by their newest versions. locks: used inside one read transaction of the connection.
class ways_up {
public:
    /// Where a way ends: above the root, in an object of which no version tells where it is, in one that is not there,
    /// or nowhere.
    enum class end { rooted, waiting, orphan, circle };

    /// `top` is the object above the root; 0 when there is none.
    ways_up(sql_connection& connection, std::int64_t share, std::int64_t top);

    /// Adds an object that is there, with the parent that its newest version names.
    void add(std::int64_t object, std::optional<std::int64_t> parent) { note(object, {parent, true}); }
    /// Reads what is above the objects that were added: a statement for each level.
    void read();
    /// Of an object that was added before the last reading.
    end of(std::int64_t object);

private:
    struct stage {
        std::optional<std::int64_t> parent;
        bool is_there = false;
    };

    void note(std::int64_t object, const stage& here);
    void read_level(const std::vector<std::int64_t>& objects);

    const std::int64_t share_;
    const std::int64_t top_;
    sql_connection& connection_;
    sql_statement read_level_;
    std::unordered_map<std::int64_t, stage> stages_;
    std::vector<std::int64_t> named_;  ///< as parents, since the last level was read
    std::unordered_map<std::int64_t, end> ends_;
};

}  // namespace index_server
