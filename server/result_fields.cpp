// The parts of an item that versions of objects and of extents have in common.
#include "server/result_fields.h"

namespace index_server {

void write_number(hostkit::message_stream& into, short field, const std::optional<std::int64_t>& value) {
    if (value) into.integer(field, *value);
}

void write_guids(const item_guids& guids, hostkit::message_stream& into) {
    into.string(24, 51, guids.object.value_or(std::string()));
    into.string(37, 82, guids.version.value_or(std::string()));
    into.string(46, 103, guids.parent.value_or(std::string()));
}

void write_properties(const search_query& query, const search_hit& hit, const hit_row& row,
                      const std::optional<std::int64_t>& extent_size, const std::optional<std::string>& link_target,
                      hostkit::message_stream& into) {
    bool is_open = false;
    const auto add = [&](const std::string& name, const std::string& value) {
        if (!is_open) into.open(26, 56);
        is_open = true;
        into.open(1, 1);
        into.string(1, 1, name);
        into.string(2, 5, value);
        into.close();
    };
    if ((query.columns & column_extent_size) != 0 && extent_size) add("EXTENT_SIZE", std::to_string(*extent_size));
    if ((query.columns & column_deleted_time) != 0 && hit.end_s != 0) add("DELETED_TIME", std::to_string(hit.end_s));
    if ((query.columns & column_link_target) != 0 && link_target) add("LINK_TARGET", *link_target);
    for (const auto& [name, value] : row.properties)
        add(query.custom_prefix + name, value);
    if (is_open) into.close();
}

void write_attributes(const search_query& query, const search_hit& hit, const item_attributes& attributes,
                      hostkit::message_stream& into) {
    into.open(50, 110);
    if ((query.columns & column_mode) != 0) write_number(into, 9, attributes.mode);
    if ((query.columns & column_extent_flag) != 0) write_number(into, 10, attributes.extent_type);
    if ((query.columns & column_ctime) != 0) write_number(into, 12, attributes.ctime);
    if ((query.columns & column_extent_number) != 0) write_number(into, 15, attributes.extent_number);
    write_number(into, 16, attributes.vtime);
    if (hit.end_s != 0) into.integer(17, hit.end_s);
    if ((query.columns & column_owner) != 0 && attributes.uid) into.string(1, 1, std::to_string(*attributes.uid));
    if ((query.columns & column_group) != 0 && attributes.gid) into.string(2, 5, std::to_string(*attributes.gid));
    if ((query.columns & column_xattr) != 0 && attributes.xattr) into.string(13, 19, *attributes.xattr);
    into.close();
}

}  // namespace index_server
