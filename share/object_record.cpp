// The index gives the seconds of atime, ctime and mtime back cut to 32 bits, so they are compared that way; a time of
// -1 counts as not set and comes back as 0, so it is not compared.
#include "share/object_record.h"

#include <algorithm>

#include "core/time_units.h"
#include "share/encoding.h"
#include "share/xattr_text.h"

namespace share_host {
namespace {

bool same_seconds(long known, long current) {
    return current == -1 || static_cast<std::int32_t>(known) == static_cast<std::int32_t>(current);
}

}  // namespace

std::string index_path_of(const std::string& disk_path) {
    return "/" + encode_text(disk_path);
}

std::string disk_name_of(const std::string& index_path) {
    return decode_text(std::string_view(index_path).substr(index_path.rfind('/') + 1));
}

std::string join_disk_path(const std::string& directory, const std::string& name) {
    return directory.empty() ? name : directory + "/" + name;
}

index_iface_props make_record(const std::string& object_guid, const object_place& place, const disk_entry& entry) {
    index_iface_props props;
    props.path = index_path_of(place.disk_path);
    props.object_guid = object_guid;
    props.parent_guid = place.parent_guid;
    props.version_guid = version_guid_of(object_guid, entry.info.st_ctim.tv_sec);
    props.mode_valid = props.uid_valid = props.gid_valid = true;
    props.mode = entry.info.st_mode;
    props.uid = entry.info.st_uid;
    props.gid = entry.info.st_gid;
    props.size = entry.info.st_size;
    props.atime = entry.info.st_atim.tv_sec;
    props.ctime = entry.info.st_ctim.tv_sec;
    props.mtime = entry.info.st_mtim.tv_sec;
    props.vtime = index_iface_sec_to_ns(entry.info.st_ctim.tv_sec) + entry.info.st_ctim.tv_nsec;
    props.is_extent = 0;
    props.link_target = entry.link_target;
    props.xattr = entry.xattr;
    return props;
}

index_iface_props make_deletion(const index_iface_props& known, index_iface_time_t now_ns) {
    index_iface_props props;
    props.path = known.path;
    props.object_guid = known.object_guid;
    props.parent_guid = known.parent_guid;
    props.version_guid = known.version_guid;
    props.mode_valid = true;
    props.mode = known.mode;
    props.is_extent = 0;
    props.vtime = std::max(now_ns, known.vtime);
    props.dtime = props.vtime / ns_per_second;
    return props;
}

bool holds_same_version(const index_iface_props& known, const index_iface_props& current) {
    return known.version_guid == current.version_guid && known.mode == current.mode && known.uid == current.uid &&
           known.gid == current.gid && known.size == current.size && same_seconds(known.ctime, current.ctime) &&
           same_seconds(known.mtime, current.mtime) && known.link_target == current.link_target &&
           same_xattr(known.xattr, current.xattr);
}

bool is_dated_before(const index_iface_props& current, const index_iface_props& known) {
    return known.vtime / ns_per_second > current.vtime / ns_per_second;
}

}  // namespace share_host
