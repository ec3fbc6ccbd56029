// What the builders of response items share: fields that are left out when there is nothing in them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/message_classes.h"

namespace index_server {

using property_list = std::vector<KT5ContentIndexing::NameValueMap>;

inline void set_number(CNMessageBase& message, short field, short tag, const std::optional<std::int64_t>& value) {
    if (value) message.setint64(field, tag, *value);
}

inline void add_property(property_list& list, const std::string& name, const std::string& value) {
    KT5ContentIndexing::NameValueMap& entry = list.emplace_back();
    entry.setstring(1, 1, name);
    entry.setstring(2, 5, value);
}

/// Makes the list the item's named properties; an empty one leaves the item without the child.
inline void set_properties(KT5ContentIndexing::GResultItem& item, property_list list) {
    if (list.empty()) return;
    const auto properties = item.getObjectAccessor(true, true, 26, 56, 14, 26);
    *properties->getlistobject<KT5ContentIndexing::NameValueMap>(1, 1, true) = std::move(list);
}

}  // namespace index_server
