// Applies the lines that tell of extents of files. A version of an extent is known by its file, its number and its
// version GUID; a deletion ends the version that it names, otherwise the rules are those of collect_applier.h.
#pragma once

#include <cstdint>

#include "server/collect_line.h"
#include "server/sql.h"

namespace index_server {

/// locks: all operations are called inside one write transaction of the connection.
class extent_applier {
public:
    explicit extent_applier(sql_connection& connection);

    /// Starts a file of the share.
    void begin(std::int64_t share);
    /// `file` is the object that the extent belongs to.
    void apply(std::int64_t file, const collect_line& line, std::int64_t arrival);
    /// Fills in what the lines of new rows left out, from the newest version of the same extent that tells it.
    void finish();

private:
    std::int64_t find(std::int64_t file, std::int64_t number, const collect_line& line);
    std::int64_t insert(std::int64_t file, std::int64_t number, const collect_line& line, std::int64_t arrival);
    void lay_over(std::int64_t extent, const collect_line& line);
    void set_end(std::int64_t extent, const collect_line& line, std::int64_t arrival);
    void rank(std::int64_t file, std::int64_t number);
    void set_properties(std::int64_t extent, const collect_line& line);

    // Of the file being applied.
    std::int64_t last_old_extent_ = 0;

    sql_statement find_;
    sql_statement find_newest_;
    sql_statement insert_;
    sql_statement lay_over_;
    sql_statement touch_arrival_;
    sql_statement read_dtime_;
    sql_statement set_dtime_;
    sql_statement supersede_;
    sql_statement set_state_;
    sql_statement set_property_;
    sql_statement last_extent_;
    sql_statement fill_;
    sql_statement fill_properties_;
};

}  // namespace index_server
