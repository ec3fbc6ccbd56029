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
    into.string(24, 51, row.texts[guid].value_or(std::string()));
    into.string(37, 82, row.texts[version_guid].value_or(std::string()));
    into.string(46, 103, row.texts[file_guid].value_or(std::string()));
    // Readers of extents take the size from the properties alone.
    write_properties(query, hit, row, row.numbers[size], row.texts[link_target], into);
    into.open(50, 110);
    if ((query.columns & column_extent_flag) != 0) write_number(into, 10, row.numbers[extent_type]);
    if ((query.columns & column_extent_number) != 0) write_number(into, 15, row.numbers[extent_number]);
    write_number(into, 16, row.numbers[vtime]);
    if (hit.end_s != 0) into.integer(17, hit.end_s);
    if ((query.columns & column_xattr) != 0) write_text(into, 13, 19, row.texts[xattr]);
    into.close();
    into.close();
}

}  // namespace

extent_results::extent_results(sql_connection& connection) : rows_(connection, extents) {}

bool extent_results::write(const share& target, const search_query& query, std::span<const search_hit> hits,
                           hostkit::message_stream& into) {
    const std::vector<hit_row>& rows = rows_.read(target.subclient_id, hits, !query.custom_prefix.empty());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!rows[i].found) return false;
        write_item(query, hits[i], rows[i], into);
    }
    return true;
}

}  // namespace index_server
