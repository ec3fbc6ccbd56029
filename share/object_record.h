// Records for the index made from what the disk says, and their comparison with what the index holds.
#pragma once

#include <string>

#include "core/records.h"
#include "share/disk_entry.h"

namespace share_host {

/// Where an object stands: its path below the tree's root as on disk ("a/b", "" for the root) and its parent's GUID,
/// which is empty for the root alone.
struct object_place {
    std::string disk_path;
    std::string parent_guid;
};

/// The path of the index for a path on disk: "/" for the root, "/a/b" encoded below it.
std::string index_path_of(const std::string& disk_path);

/// The last component of an index path, decoded to the name on disk. Empty for the root.
std::string disk_name_of(const std::string& index_path);

/// "dir/name", or just "name" below the root.
std::string join_disk_path(const std::string& directory, const std::string& name);

/// The whole record of an object as it is now, with its version.
index_iface_props make_record(const std::string& object_guid, const object_place& place, const disk_entry& entry);

/// The report that the object of that record is gone as of `now_ns`, or as of its own version when that is younger.
index_iface_props make_deletion(const index_iface_props& known, index_iface_time_t now_ns);

/// True when the index holds this version with these attributes. The place is not compared, nor is the access time.
bool holds_same_version(const index_iface_props& known, const index_iface_props& current);

/// True when the index holds a version younger than the object's own time, as after a clock was set back, so that the
/// change has to be dated behind it to count as the newest.
bool is_dated_before(const index_iface_props& current, const index_iface_props& known);

}  // namespace share_host
