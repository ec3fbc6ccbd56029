// What the index still holds at places where the disk has it no more. Some of it turns up at another place.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/records.h"

namespace share_host {

class gone_objects {
public:
    /// Parents are added before their children.
    void add(index_iface_props known);

    std::size_t size() const { return records_.size(); }
    bool empty() const { return records_.empty(); }
    const index_iface_props& at(std::size_t position) const { return records_[position]; }

    /// The record of that GUID that has not been found again, or null.
    const index_iface_props* find(std::string_view guid) const;

    /// The object of that GUID has been found again.
    void set_found(std::string_view guid);

    /// Those that were not found again, children before their parents: a crash half-way leaves no object below a
    /// deleted directory, where nobody would find it any more.
    std::vector<const index_iface_props*> remaining() const;

private:
    std::vector<index_iface_props> records_;
    std::unordered_map<std::string, std::size_t> by_guid_;  // those not found again
};

}  // namespace share_host
