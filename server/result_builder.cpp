// The items of a search response.
#include "server/result_builder.h"

#include "server/result_fields.h"

namespace index_server {

namespace {

enum number : std::size_t {
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
    backup_id,
    numbers,
};
enum text : std::size_t { version_guid, name, link_target, xattr, object_guid, parent_guid, texts };

constexpr hit_rows::selection versions{
    "SELECT r.id, r.vtime, r.size, r.mode, r.uid, r.gid, r.atime, r.ctime, r.mtime, r.extent_type, r.extent_size, "
    "r.extent_number, r.backup_id, r.version_guid, r.name, r.link_target, r.xattr, "
    "(SELECT guid FROM object WHERE share = ?1 AND id = r.object), "
    "(SELECT guid FROM object WHERE share = ?1 AND id = r.parent) FROM version r",
    numbers, texts, "SELECT version, name, value FROM version_property WHERE share = ?1 AND version"};

void write_attributes(const search_query& query, const search_hit& hit, const hit_row& row,
                      hostkit::message_stream& into) {
    into.open(50, 110);
    if ((query.columns & column_mode) != 0) write_number(into, 9, row.numbers[mode]);
    if ((query.columns & column_extent_flag) != 0) write_number(into, 10, row.numbers[extent_type]);
    if ((query.columns & column_ctime) != 0) write_number(into, 12, row.numbers[ctime]);
    if ((query.columns & column_extent_number) != 0) write_number(into, 15, row.numbers[extent_number]);
    write_number(into, 16, row.numbers[vtime]);
    if (hit.end_s != 0) into.integer(17, hit.end_s);
    if ((query.columns & column_owner) != 0 && row.numbers[uid]) into.string(1, 1, std::to_string(*row.numbers[uid]));
    if ((query.columns & column_group) != 0 && row.numbers[gid]) into.string(2, 5, std::to_string(*row.numbers[gid]));
    if ((query.columns & column_xattr) != 0) write_text(into, 13, 19, row.texts[xattr]);
    into.close();
}

void write_item(const search_query& query, const search_hit& hit, const hit_row& row, hostkit::message_stream& into) {
    into.open(1, 1);
    if ((query.columns & column_size) != 0) write_number(into, 33, row.numbers[size]);
    if ((query.columns & column_mtime) != 0) write_number(into, 34, row.numbers[mtime]);
    write_number(into, 39, row.numbers[backup_id]);
    if ((query.columns & column_atime) != 0) write_number(into, 101, row.numbers[atime]);
    const std::string leaf = row.texts[name].value_or(std::string());
    if (hit.directory && !leaf.empty()) into.string(2, 5, *hit.directory + "/" + leaf);
    if (!leaf.empty()) into.string(3, 9, leaf);
    into.string(24, 51, row.texts[object_guid].value_or(std::string()));
    into.string(37, 82, row.texts[version_guid].value_or(std::string()));
    into.string(46, 103, row.texts[parent_guid].value_or(std::string()));
    write_properties(query, hit, row, row.numbers[extent_size], row.texts[link_target], into);
    write_attributes(query, hit, row, into);
    into.close();
}

}  // namespace

result_builder::result_builder(sql_connection& connection) : rows_(connection, versions) {}

bool result_builder::write(const share& target, const search_query& query, std::span<const search_hit> hits,
                           hostkit::message_stream& into) {
    const std::vector<hit_row>& rows = rows_.read(target.subclient_id, hits, !query.custom_prefix.empty());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!rows[i].found) return false;
        write_item(query, hits[i], rows[i], into);
    }
    return true;
}

}  // namespace index_server
