// The rows of collect files in PostgreSQL: many in one round trip. Keys go as arrays, new rows by COPY, changed ones by
// COPY into a staging table and from there over the stored ones.
#pragma once

#include "server/share_row_store.h"

namespace index_server {

/// Prepared on one connection, which it must not outlive.
class postgresql_row_store : public share_row_store {
public:
    explicit postgresql_row_store(sql_connection& connection);

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
    /// What writes one kind of row: new ones go into their table, changed ones over the stored ones by way of the
    /// staging table.
    struct row_writer {
        const char* add_sql;
        const char* stage_sql;
        const char* clear_stage_sql;
        sql_statement replace;
        sql_statement set_properties;
        sql_statement copy_properties;
    };

    template <class Changed>
    void write(row_writer& writer, const Changed& rows);
    template <class Rows>
    void copy(const char* sql, const Rows& rows);
    void write(sql_statement& set, const std::vector<property_change>& properties);
    void write(sql_statement& copy, const std::vector<property_copy>& copies);

    sql_connection& connection_;
    std::int64_t share_ = 0;
    sql_statement find_objects_;
    sql_statement replace_objects_;
    sql_statement newest_versions_;
    sql_statement named_versions_;
    row_writer version_writer_;
    sql_statement newest_extents_;
    sql_statement named_extents_;
    row_writer extent_writer_;
};

}  // namespace index_server
