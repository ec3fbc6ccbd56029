// The items of a search response.
#include "server/result_builder.h"

#include "server/result_fields.h"

namespace index_server {

namespace {

enum column : int {
    version_guid,
    name,
    vtime,
    size,
    mode,
    uid,
    gid,
    atime,
    ctime,
    mtime,
    extent_type,
    extent_size,
    extent_number,
    link_target,
    xattr,
    backup_id,
    object_guid,
    parent_guid,
};

constexpr const char* read_version_sql =
    "SELECT v.version_guid, v.name, v.vtime, v.size, v.mode, v.uid, v.gid, v.atime, v.ctime, v.mtime, v.extent_type, "
    "v.extent_size, v.extent_number, v.link_target, v.xattr, v.backup_id, "
    "(SELECT guid FROM object WHERE share = ?1 AND id = v.object), "
    "(SELECT guid FROM object WHERE share = ?1 AND id = v.parent) FROM version v WHERE v.share = ?1 AND v.id = ?2";

}  // namespace

result_builder::result_builder(sql_connection& connection)
    : read_version_(connection, read_version_sql),
      read_properties_(connection,
                       "SELECT name, value FROM version_property WHERE share = ?1 AND version = ?2 ORDER BY name") {}

bool result_builder::fill(const search_query& query, const search_hit& hit, KT5ContentIndexing::GResultItem& item) {
    const statement_run run(read_version_);
    if (!read_version_.bind(1, share_).bind(2, hit.version).step()) return false;
    const std::string leaf(read_version_.text(name));
    if (hit.directory && !leaf.empty()) item.setstring(2, 5, *hit.directory + "/" + leaf);
    if (!leaf.empty()) item.setstring(3, 9, leaf);
    item.setstring(24, 51, std::string(read_version_.text(object_guid)));
    item.setstring(37, 82, std::string(read_version_.text(version_guid)));
    item.setstring(46, 103, std::string(read_version_.text(parent_guid)));
    if ((query.columns & column_size) != 0) set_number(item, 33, 33, read_version_.integer_if_any(size));
    if ((query.columns & column_mtime) != 0) set_number(item, 34, 34, read_version_.integer_if_any(mtime));
    if ((query.columns & column_atime) != 0) set_number(item, 101, 101, read_version_.integer_if_any(atime));
    set_number(item, 39, 39, read_version_.integer_if_any(backup_id));
    fill_attributes(query, hit, *item.getObjectAccessor(true, true, 50, 110, 14, 32));
    fill_properties(query, hit, item);
    return true;
}

void result_builder::fill_attributes(const search_query& query, const search_hit& hit, CNMessageBase& attributes) {
    const sql_statement& row = read_version_;
    if ((query.columns & column_owner) != 0 && !row.is_null(uid))
        attributes.setstring(1, 1, std::to_string(row.integer(uid)));
    if ((query.columns & column_group) != 0 && !row.is_null(gid))
        attributes.setstring(2, 5, std::to_string(row.integer(gid)));
    if ((query.columns & column_mode) != 0) set_number(attributes, 9, 9, row.integer_if_any(mode));
    if ((query.columns & column_extent_flag) != 0) set_number(attributes, 10, 10, row.integer_if_any(extent_type));
    if ((query.columns & column_ctime) != 0) set_number(attributes, 12, 12, row.integer_if_any(ctime));
    if ((query.columns & column_xattr) != 0 && !row.is_null(xattr))
        attributes.setstring(13, 19, std::string(row.text(xattr)));
    if ((query.columns & column_extent_number) != 0) set_number(attributes, 15, 15, row.integer_if_any(extent_number));
    attributes.setint64(16, 16, row.integer(vtime));
    if (hit.end_s != 0) attributes.setint64(17, 17, hit.end_s);
}

void result_builder::fill_properties(const search_query& query, const search_hit& hit,
                                     KT5ContentIndexing::GResultItem& item) {
    property_list list;
    if ((query.columns & column_extent_size) != 0 && !read_version_.is_null(extent_size))
        add_property(list, "EXTENT_SIZE", std::to_string(read_version_.integer(extent_size)));
    if ((query.columns & column_deleted_time) != 0 && hit.end_s != 0)
        add_property(list, "DELETED_TIME", std::to_string(hit.end_s));
    if ((query.columns & column_link_target) != 0 && !read_version_.is_null(link_target))
        add_property(list, "LINK_TARGET", std::string(read_version_.text(link_target)));
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

void add_search_error(KT5ContentIndexing::ZYSearchResp& response, int code, const std::string& text) {
    auto& error = response.getlistobject<KT5ContentIndexing::Error>(1, 1, true)->emplace_back();
    error.setint64(1, 1, code);
    error.setstring(2, 2, text);
}

}  // namespace index_server
