// The rows of collect files in the embedded database: prepared statements, one run for each row, since a statement
// costs little more than the pages that it touches.
#pragma once

#include "server/share_row_store.h"

namespace index_server {

/// Prepared on one connection, which it must not outlive.
class sqlite_row_store : public share_row_store {
public:
    explicit sqlite_row_store(sql_connection& connection);

    std::int64_t begin(std::int64_t share) override;

    void load_objects(std::span<object_history* const> objects) override;
    void load_versions(std::span<object_history* const> objects, std::size_t most, text_arena& texts) override;
    void load_versions(std::span<const named_version<object_history>> named, text_arena& texts) override;
    void load_extents(std::span<extent_history* const> extents, std::size_t most, text_arena& texts) override;
    void load_extents(std::span<const named_version<extent_history>> named, text_arena& texts) override;

    void write(const changed_objects& objects) override;
    void write(const changed_rows<object_history, version_row>& versions) override;
    void write(const changed_rows<extent_history, extent_row>& extents) override;

private:
    /// The statements that write the properties of one kind of row.
    struct property_statements {
        property_statements(sql_connection& connection, const char* set_sql, const char* copy_sql);
        void begin(std::int64_t share);
        void write(const std::vector<property_change>& properties, const std::vector<property_copy>& copies);

        sql_statement set;
        sql_statement copy;
    };

    void insert(const object_history& object, const version_row& row);
    void update(const version_row& row);
    void insert(const extent_history& extent, const extent_row& row);
    void update(const extent_row& row);

    sql_statement find_object_;
    sql_statement insert_object_;
    sql_statement set_newest_;

    sql_statement newest_versions_;
    sql_statement named_version_;
    sql_statement insert_version_;
    sql_statement set_version_values_;
    sql_statement set_version_place_;
    sql_statement set_version_arrival_;
    sql_statement set_version_end_;
    property_statements version_properties_;

    sql_statement newest_extents_;
    sql_statement named_extent_;
    sql_statement insert_extent_;
    sql_statement set_extent_values_;
    sql_statement set_extent_arrival_;
    sql_statement set_extent_end_;
    property_statements extent_properties_;
};

}  // namespace index_server
