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

void write_item(const search_query& query, const search_hit& hit, const hit_row& row, hostkit::message_stream& into) {
    into.open(1, 1);
    if ((query.columns & column_size) != 0) write_number(into, 33, row.numbers[size]);
    if ((query.columns & column_mtime) != 0) write_number(into, 34, row.numbers[mtime]);
    write_number(into, 39, row.numbers[backup_id]);
    if ((query.columns & column_atime) != 0) write_number(into, 101, row.numbers[atime]);
    const std::string leaf = row.texts[name].value_or(std::string());
    if (hit.directory && !leaf.empty()) into.string(2, 5, *hit.directory + "/" + leaf);
    if (!leaf.empty()) into.string(3, 9, leaf);
    write_guids({row.texts[object_guid], row.texts[version_guid], row.texts[parent_guid]}, into);
    write_properties(query, hit, row, row.numbers[extent_size], row.texts[link_target], into);
    write_attributes(query, hit,
                     {.mode = row.numbers[mode],
                      .extent_type = row.numbers[extent_type],
                      .ctime = row.numbers[ctime],
                      .extent_number = row.numbers[extent_number],
                      .vtime = row.numbers[vtime],
                      .uid = row.numbers[uid],
                      .gid = row.numbers[gid],
                      .xattr = row.texts[xattr]},
                     into);
    into.close();
}

}  // namespace

result_builder::result_builder(sql_connection& connection) : rows_(connection, versions) {}

bool result_builder::write(const share& target, const search_query& query, std::span<const search_hit> hits,
                           hostkit::message_stream& into) {
    return write_items(rows_, target, query, hits,
                       [&](const search_hit& hit, const hit_row& row) { write_item(query, hit, row, into); });
}

}  // namespace index_server
