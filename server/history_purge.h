// The removal of history beyond a bound.
//
//   P1  A version is removed when its object has a younger one that had come by the bound: at the bound and after it,
//       whatever of the older one would live is hidden behind the younger one, or it stood elsewhere and had ended.
//   P2  An object is removed whole, with its extents, when its newest version had come and had ended by the bound and
//       no row names it as parent. What is below it goes first, whether it was told to have ended or not: the end of a
//       directory is the end of what is in it.
//   P3  Where something below has to stay, what is on the way to it stays too, and is marked as ended like the
//       directory above, which every question was told anyway.
//   P4  Extents are treated as versions are: P1 within one number of a file, and P2 for a number whose newest version
//       had ended.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "server/administration.h"
#include "server/id_list.h"
#include "server/object_removal.h"
#include "server/page_of_objects.h"
#include "server/sql.h"

namespace index_server {

/// One step of a purge. locks: made and used inside one write transaction of the connection.
class history_purge {
public:
    history_purge(sql_connection& connection, const share& of, std::int64_t bound_s);

    purge_step step(const step_place& from);

private:
    struct ended_object {
        std::int64_t id = 0;
        std::int64_t end_s = 0;
    };

    void read_page();
    bool work_off_page();
    bool remove_ended();
    bool remove_living_leaves(std::int64_t parent);
    sql_statement& bind_ended(sql_statement& statement);
    std::vector<ended_object> ended_in_page();
    bool remove_tree(const ended_object& top);
    bool remove_single(std::int64_t object);
    void remove_emptied();
    std::optional<std::int64_t> living_child(std::int64_t object);
    bool has_children(std::int64_t object);
    bool is_ended_and_passed(std::int64_t object);

    sql_connection& connection_;
    const std::int64_t bound_s_;
    const std::int64_t bound_ns_;
    const std::string root_guid_;
    removal_tally tally_;

    object_removal rows_;
    page_of_objects page_;
    sql_statement read_page_;
    id_list page_ids_;
    std::int64_t root_ = 0;  ///< its id when it is in the page
    sql_statement old_versions_;
    sql_statement old_extents_;
    sql_statement ended_;
    sql_statement ended_leaves_;
    sql_statement living_leaves_;
    sql_statement living_child_;
    sql_statement mark_ended_;
    sql_statement has_children_;
    sql_statement ended_and_passed_;
};

}  // namespace index_server
