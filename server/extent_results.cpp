// The items of a search for extents.
#include "server/extent_results.h"

#include "server/result_fields.h"

namespace index_server {

namespace {

enum column : int { guid, version_guid, number, vtime, size, extent_type, link_target, xattr, backup_id, file_guid };

constexpr const char* read_extent_sql =
    "SELECT e.guid, e.version_guid, e.number, e.vtime, e.size, e.extent_type, e.link_target, e.xattr, e.backup_id, "
    "f.guid FROM extent e JOIN object f ON f.share = e.share AND f.id = e.file WHERE e.share = ?1 AND e.id = ?2";

}  // namespace

extent_results::extent_results(sql_connection& connection)
    : read_extent_(connection, read_extent_sql),
      read_properties_(connection,
                       "SELECT name, value FROM extent_property WHERE share = ?1 AND extent = ?2 ORDER BY name") {}

bool extent_results::fill(const search_query& query, const search_hit& hit, KT5ContentIndexing::GResultItem& item) {
    const statement_run run(read_extent_);
    if (!read_extent_.bind(1, share_).bind(2, hit.version).step()) return false;
    item.setstring(24, 51, std::string(read_extent_.text(guid)));
    item.setstring(37, 82, std::string(read_extent_.text(version_guid)));
    item.setstring(46, 103, std::string(read_extent_.text(file_guid)));
    if ((query.columns & column_size) != 0) set_number(item, 33, 33, read_extent_.integer_if_any(size));
    set_number(item, 39, 39, read_extent_.integer_if_any(backup_id));
    fill_attributes(query, hit, *item.getObjectAccessor(true, true, 50, 110, 14, 32));
    fill_properties(query, hit, item);
    return true;
}

void extent_results::fill_attributes(const search_query& query, const search_hit& hit, CNMessageBase& attributes) {
    const sql_statement& row = read_extent_;
    if ((query.columns & column_extent_flag) != 0) set_number(attributes, 10, 10, row.integer_if_any(extent_type));
    if ((query.columns & column_xattr) != 0 && !row.is_null(xattr))
        attributes.setstring(13, 19, std::string(row.text(xattr)));
    if ((query.columns & column_extent_number) != 0) attributes.setint64(15, 15, row.integer(number));
    attributes.setint64(16, 16, row.integer(vtime));
    if (hit.end_s != 0) attributes.setint64(17, 17, hit.end_s);
}

void extent_results::fill_properties(const search_query& query, const search_hit& hit,
                                     KT5ContentIndexing::GResultItem& item) {
    property_list list;
    // Readers of extents take the size from here alone.
    if ((query.columns & column_extent_size) != 0 && !read_extent_.is_null(size))
        add_property(list, "EXTENT_SIZE", std::to_string(read_extent_.integer(size)));
    if ((query.columns & column_deleted_time) != 0 && hit.end_s != 0)
        add_property(list, "DELETED_TIME", std::to_string(hit.end_s));
    if ((query.columns & column_link_target) != 0 && !read_extent_.is_null(link_target))
        add_property(list, "LINK_TARGET", std::string(read_extent_.text(link_target)));
    if (!query.custom_prefix.empty()) {
        const statement_run run(read_properties_);
        read_properties_.bind(1, share_).bind(2, hit.version);
        while (read_properties_.step()) {
            add_property(list, query.custom_prefix + std::string(read_properties_.text(0)),
                         std::string(read_properties_.text(1)));
        }
    }
    set_properties(item, std::move(list));
}

}  // namespace index_server
