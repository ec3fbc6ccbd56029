// The search for rows that no feed can bring about. What the rows have to be:
//
//   I1  A share has one root. It stands alone in the object above it, and has not ended.
//   I2  Every directory that a row names has a row itself. One that nothing is told of yet is no fault: what is below
//       it is waiting.
//   I3  Nobody is a parent of itself, however far up.
//   I4  Exactly one version of an object is marked as its newest: the greatest by (version time, arrival). It is marked
//       as living or ended as its deletion time says, and the object names it. So with the versions of an extent.
//   I5  No two objects live under one name in one directory.
//   I6  The key that a name is found by is the front of the folded name.
//   I7  Every version, extent and property belongs to a row that is there. An object's row may stand alone: a child or
//   an
//       extent may come before it; but then it names no newest version.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "server/administration.h"
#include "server/id_list.h"
#include "server/page_of_objects.h"
#include "server/sql.h"
#include "server/ways_up.h"

namespace index_server {

/// One step of a check. locks: made and used inside one read transaction of the connection.
class integrity_check {
public:
    integrity_check(sql_connection& connection, const share& of);

    /// Throws std::invalid_argument for a place that no step told.
    check_step step(const step_place& from);

private:
    class marks;
    struct page_object {
        std::optional<std::int64_t> newest;  ///< the version that it names
        bool has_versions = false;
    };

    void read_page();
    void add(const char* kind, std::string_view object, std::string text);
    void check_root();
    void check_versions();
    void check_version(bool is_first);
    void check_way_up();
    void check_extents();
    void check_places();
    void check_unversioned();
    void check_strays(const step_place& from);

    const std::string root_guid_;
    const std::int64_t top_;
    const std::int64_t root_;
    check_step done_;

    sql_connection& connection_;
    page_of_objects page_;
    id_list page_ids_;
    std::map<std::string, page_object, std::less<>> objects_;  ///< those of the page, by their GUIDs
    ways_up ways_;
    sql_statement in_top_;
    sql_statement read_page_;
    sql_statement versions_;
    sql_statement extents_;
    sql_statement places_;
    sql_statement neighbours_;
};

}  // namespace index_server
