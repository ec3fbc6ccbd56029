// What the writers of response items share.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hostkit/message_stream.h"
#include "server/candidates.h"
#include "server/engine.h"
#include "server/hit_rows.h"
#include "server/search_query.h"

namespace index_server {

/// Writes nothing when there is no value.
void write_number(hostkit::message_stream& into, short field, const std::optional<std::int64_t>& value);

/// The GUIDs that every item has, empty when nobody has told them.
struct item_guids {
    const std::optional<std::string>& object;
    const std::optional<std::string>& version;
    const std::optional<std::string>& parent;
};
void write_guids(const item_guids& guids, hostkit::message_stream& into);

/// Writes the item's named properties; without any the item has no such child.
void write_properties(const search_query& query, const search_hit& hit, const hit_row& row,
                      const std::optional<std::int64_t>& extent_size, const std::optional<std::string>& link_target,
                      hostkit::message_stream& into);

/// What the attributes of an item tell; an extent has no mode, ctime and owner.
struct item_attributes {
    std::optional<std::int64_t> mode = {};
    std::optional<std::int64_t> extent_type;
    std::optional<std::int64_t> ctime = {};
    std::optional<std::int64_t> extent_number;
    std::optional<std::int64_t> vtime;
    std::optional<std::int64_t> uid = {};
    std::optional<std::int64_t> gid = {};
    const std::optional<std::string>& xattr;
};
/// Writes those that the request asks for, and always the times of the version.
void write_attributes(const search_query& query, const search_hit& hit, const item_attributes& attributes,
                      hostkit::message_stream& into);

/// Writes an item for each hit with `write_item(hit, row)`. False when a row is not there; what was written until then
/// is of no use.
template <class WriteItem>
bool write_items(hit_rows& stored, const share& target, const search_query& query, std::span<const search_hit> hits,
                 WriteItem write_item) {
    const std::vector<hit_row>& rows = stored.read(target.subclient_id, hits, !query.custom_prefix.empty());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!rows[i].found) return false;
        write_item(hits[i], rows[i]);
    }
    return true;
}

}  // namespace index_server
