// The items of a search for extents.
#include "server/extent_results.h"

#include "server/result_fields.h"

namespace index_server {

namespace {

enum number : std::size_t { extent_number, vtime, size, extent_type, backup_id, numbers };
enum text : std::size_t { guid, version_guid, link_target, xattr, file_guid, texts };

constexpr hit_rows::selection extents{
    "SELECT r.id, r.number, r.vtime, r.size, r.extent_type, r.backup_id, r.guid, r.version_guid, r.link_target, "
    "r.xattr, (SELECT guid FROM object WHERE share = ?1 AND id = r.file) FROM extent r",
    numbers, texts, "SELECT extent, name, value FROM extent_property WHERE share = ?1 AND extent"};

void write_item(const search_query& query, const search_hit& hit, const hit_row& row, hostkit::message_stream& into) {
    into.open(1, 1);
    if ((query.columns & column_size) != 0) write_number(into, 33, row.numbers[size]);
    write_number(into, 39, row.numbers[backup_id]);
    write_guids({row.texts[guid], row.texts[version_guid], row.texts[file_guid]}, into);
    // Readers of extents take the size from the properties alone.
    write_properties(query, hit, row, row.numbers[size], row.texts[link_target], into);
    write_attributes(query, hit,
                     {.extent_type = row.numbers[extent_type],
                      .extent_number = row.numbers[extent_number],
                      .vtime = row.numbers[vtime],
                      .xattr = row.texts[xattr]},
                     into);
    into.close();
}

}  // namespace

extent_results::extent_results(sql_connection& connection) : rows_(connection, extents) {}

bool extent_results::write(const share& target, const search_query& query, std::span<const search_hit> hits,
                           hostkit::message_stream& into) {
    return write_items(rows_, target, query, hits,
                       [&](const search_hit& hit, const hit_row& row) { write_item(query, hit, row, into); });
}

}  // namespace index_server
