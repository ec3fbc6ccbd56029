// The payload of one remembered rename.
#pragma once

#include <cstdint>
#include <string>

#include "core/records.h"

/// Only `old_path`, `path` and `ctime` are read afterwards; the rest is carried.
struct index_iface_renamed_item {
    std::string old_path;
    std::string path;
    std::string object_guid;
    std::string version_guid;
    std::string parent_guid;
    bool mode_valid = false;
    std::uint32_t mode;
    long ctime = -1;  ///< seconds
    long long dtime = -1;
    index_iface_time_t vtime = -1;
};
