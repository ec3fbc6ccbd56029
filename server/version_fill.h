// Fills in, after a collect file has been read, what its lines left out.
#pragma once

#include <cstdint>
#include <vector>

#include "server/sql.h"

namespace index_server {

/// A new version takes each value that its line left out from the version before it; one that nothing stands before,
/// and that no addition brought, from the newest. The place comes from the nearest earlier version that names one, or
/// from the newest that does; with the first line that names a place, the versions that waited for one get it too.
/// locks: called inside a write transaction of the connection.
class version_fill {
public:
    explicit version_fill(sql_connection& connection);

    /// Fills the versions with ids above the given one.
    void fill_since(std::int64_t share, std::int64_t last_old_version);

private:
    struct row {
        std::int64_t id = 0;
        std::int64_t vtime = 0;
        std::int64_t arrival = 0;
        bool whole = false;
    };
    /// Finds what a version takes from: the nearest one before it, else the newest of all others.
    struct source_finder {
        source_finder(sql_connection& connection, const char* earlier_sql, const char* newest_sql);
        /// 0 when there is none.
        std::int64_t find(std::int64_t object, const row& version, bool earlier_only);

        sql_statement earlier;
        sql_statement newest;
    };

    void bind_share(std::int64_t share);
    std::vector<std::int64_t> objects_after(std::int64_t after, std::int64_t last_old_version, std::int64_t& last);
    static std::vector<row> rows_of(sql_statement& statement);
    void fill_attributes(std::int64_t object, std::int64_t last_old_version);
    void fill_places(std::int64_t object);

    sql_statement new_objects_;
    sql_statement new_versions_;
    sql_statement without_place_;
    sql_statement copy_attributes_;
    sql_statement copy_properties_;
    sql_statement copy_place_;
    source_finder attribute_source_;
    source_finder place_source_;
};

}  // namespace index_server
