// The objects of a share, some at a time, in the order of their GUIDs: the one order that every engine has an index
// for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "server/sql.h"

namespace index_server {

/// How a statement asks for the objects `o` of a page: its parameters 1 to 3 are those that `bind` sets.
#define IIF_OF_PAGE "o.share = ?1 AND o.guid > ?2 AND o.guid <= ?3"

/// Keeps feeds of the share, and other steps of its administration, waiting until the write transaction ends.
void lock_share(sql_connection& connection, std::int64_t share);

/// The start of a statement that changes rows of the share ?1: "<change> WHERE ... id IN ". The embedded engine finds
/// rows by id alone; told of the share, it would look through all rows of the share for them.
std::string by_ids(const sql_connection& connection, const std::string& change);

/// Runs a statement that gives a row for each row it changed, and returns how many there were.
std::int64_t run_and_count(sql_statement& statement);

/// A walk's present page. The object above the root, whose GUID is empty, is in none.
class page_of_objects {
public:
    page_of_objects(sql_connection& connection, std::int64_t share, std::int64_t size);

    /// Goes to the page that begins after this GUID. False when no object is left.
    bool begin_after(const std::string& guid);

    std::int64_t share() const { return share_; }
    /// The GUID of the page's last object.
    const std::string& last() const { return last_; }

    /// Binds the page to a statement, which must run before the page changes.
    sql_statement& bind(sql_statement& statement) const {
        return statement.bind(1, share_).bind(2, after_).bind(3, last_);
    }

private:
    const std::int64_t share_;
    const std::int64_t size_;
    std::string after_;
    std::string last_;
    sql_statement find_last_;
};

}  // namespace index_server
