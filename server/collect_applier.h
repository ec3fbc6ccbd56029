// Turns the lines of one collect file into rows. The rules:
//
// A1  A version that is known gets the line's fields laid over it and keeps its version time; an unknown one is a new
//     row, whatever the operation.
// A2  The newest version of an object is the greatest by (version time, arrival). A version that comes again by an
//     addition or an update takes its latest arrival.
// A3  A deletion ends the newest version whose second is not after the deletion time, and nothing that came later.
//     Without a deletion time it ends the newest version now, and leaves an earlier end in place.
// A4  An addition brings its version back to life unless it carries a deletion time itself.
// A5  Whatever a new row's line left out is filled in when the whole file has been read, since a file holds the updates
//     before the additions.
// A6  The root of a share keeps its place and cannot be deleted.
//
// The end that a move makes to a version in its former place is not stored: it follows from the rows (history.h).
// Applying a file again, alone or with all that followed it, leaves the rows as they were.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "server/collect_line.h"
#include "server/engine.h"
#include "server/extent_applier.h"
#include "server/sql.h"
#include "server/version_fill.h"

namespace index_server {

/// Made once for the writing connection. locks: all operations are called inside one write transaction of it.
class collect_applier {
public:
    explicit collect_applier(sql_connection& connection);

    /// Starts a file of the share. `now_ns` is its moment of arrival.
    void begin(const share& target, std::int64_t now_ns);
    void apply(const collect_line& line);
    /// Fills in what the lines left out, and keeps the arrival counter.
    void finish();

    /// Makes the root object of a new share.
    void make_root(const share& target);

private:
    struct object_row {
        std::int64_t id = 0;
        std::int64_t newest = 0;  ///< 0 while the object has no version
    };

    void bind_share(const share& target);
    object_row intern(std::string_view guid);
    std::int64_t intern_parent(std::string_view guid);
    std::int64_t named_version(const object_row& object, const collect_line& line);
    std::int64_t version_up_to(std::int64_t object, std::int64_t last_ns);
    void apply_change(object_row& object, const collect_line& line);
    void apply_deletion(object_row& object, const collect_line& line);
    void lay_over(std::int64_t version, const object_row& object, const collect_line& line);
    std::int64_t insert(object_row& object, const collect_line& line, std::int64_t vtime, std::int64_t dtime);
    void bind_place(sql_statement& statement, int first, const object_row& object, const collect_line& line);
    void bind_attributes(sql_statement& statement, int first, const collect_line& line);
    void set_properties(std::int64_t version, const collect_line& line);
    void revive(std::int64_t version);
    void end_version(std::int64_t version, const collect_line& line);
    void rank(object_row& object, std::int64_t version);

    // Of the file being applied.
    std::int64_t share_ = 0;
    std::int64_t root_object_ = 0;
    std::int64_t arrival_ = 0;
    std::int64_t last_old_version_ = 0;
    std::unordered_map<std::string, std::int64_t> parents_;
    /// Ends that an addition of this file took away, should a deletion without a time follow in the same file.
    std::unordered_map<std::int64_t, std::int64_t> revived_;
    std::string folded_;

    sql_connection& connection_;
    sql_statement find_object_;
    sql_statement add_object_;
    sql_statement find_version_;
    sql_statement find_version_up_to_;
    sql_statement insert_version_;
    sql_statement lay_over_;
    sql_statement touch_arrival_;
    sql_statement read_rank_;
    sql_statement set_state_;
    sql_statement set_newest_;
    sql_statement set_dtime_;
    sql_statement set_property_;
    sql_statement lock_share_;
    sql_statement set_last_arrival_;
    sql_statement last_version_;
    extent_applier extents_;
    version_fill fill_;
};

}  // namespace index_server
