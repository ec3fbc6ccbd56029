// What the writers of response items share: fields that are left out when there is nothing in them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hostkit/message_stream.h"
#include "server/candidates.h"
#include "server/hit_rows.h"
#include "server/search_query.h"

namespace index_server {

inline void write_number(hostkit::message_stream& into, short field, const std::optional<std::int64_t>& value) {
    if (value) into.integer(field, *value);
}

inline void write_text(hostkit::message_stream& into, short field, short tag, const std::optional<std::string>& value) {
    if (value) into.string(field, tag, *value);
}

/// Writes the item's named properties; without any the item has no such child.
inline void write_properties(const search_query& query, const search_hit& hit, const hit_row& row,
                             const std::optional<std::int64_t>& extent_size,
                             const std::optional<std::string>& link_target, hostkit::message_stream& into) {
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

}  // namespace index_server
