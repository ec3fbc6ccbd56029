// Records in the order of discovery, and an index over those that are still missing.
#include "share/gone_objects.h"

namespace share_host {

void gone_objects::add(index_iface_props known) {
    if (by_guid_.emplace(known.object_guid, records_.size()).second) records_.push_back(std::move(known));
}

const index_iface_props* gone_objects::find(std::string_view guid) const {
    const auto found = by_guid_.find(std::string(guid));
    return found == by_guid_.end() ? nullptr : &records_[found->second];
}

void gone_objects::set_found(std::string_view guid) {
    by_guid_.erase(std::string(guid));
}

std::vector<const index_iface_props*> gone_objects::remaining() const {
    std::vector<const index_iface_props*> result;
    for (auto record = records_.rbegin(); record != records_.rend(); ++record) {
        const auto found = by_guid_.find(record->object_guid);
        if (found != by_guid_.end() && &records_[found->second] == &*record) result.push_back(&*record);
    }
    return result;
}

}  // namespace share_host
