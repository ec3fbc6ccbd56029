// The two value records of the library: what an object is (index_iface_props) and what a query looks for
// (index_iface_browse_fields).
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "core/visibility.h"

/// Nanoseconds since the Unix epoch.
using index_iface_time_t = long long;

/// One object of the namespace. A string is unset when it is empty; `mode`, `uid` and `gid` when their flag is false,
/// whatever they hold; every other number when all its bits are 1, so that 0 is always a value. Times are seconds
/// but for `vtime`. A plain value: copies are independent.
struct IIF_API index_iface_props {
    /// What was done to the object.
    enum ops : std::int32_t { NONE = 0, ADD = 1, UPD = 2, DEL = 3, REN = 4 };

    index_iface_props();
    index_iface_props(const index_iface_props& other);
    index_iface_props(index_iface_props&& other) noexcept;
    index_iface_props& operator=(const index_iface_props& other);
    ~index_iface_props();

    ops idx_ops = NONE;
    std::string name;          ///< last component of the path; filled by queries, not read by changes
    std::string path;          ///< full path in the share, beginning with "/"
    std::string version_guid;  ///< GUID of this version
    std::string object_guid;   ///< GUID of the object, the key of the item caches
    std::string parent_guid;   ///< GUID of the parent directory, the key of the parent caches
    bool mode_valid = false;
    std::uint32_t mode = UINT32_MAX;  ///< POSIX mode with the file type
    long long size = -1;
    bool uid_valid = false;
    std::uint32_t uid = UINT32_MAX;
    bool gid_valid = false;
    std::uint32_t gid = UINT32_MAX;
    long atime = -1;
    long ctime = -1;
    long mtime = -1;
    long long dtime = -1;           ///< deletion time; given by the caller on a delete only
    index_iface_time_t vtime = -1;  ///< version time, nanoseconds; every change carries it
    /// `vtime` in whole seconds. The change operations fill it in the caller's record, which they take as constant.
    mutable long vtime_sec = -1;
    std::int32_t extent_type = -1;
    long long extent_size = -1;
    std::string link_target;
    std::int32_t is_extent = -1;  ///< 1 an extent of a file, 0 an ordinary object
    long long extent_number = -1;
    std::int32_t result_ref_a = -1;  ///< from query results only; nothing reads the three
    long long result_ref_b = -1;
    long long result_ref_c = -1;
    std::string xattr;  ///< extended attributes as one opaque text
    std::map<std::string, std::string> custom_props;
};

/// What a query looks for and when. Owns none of its texts; they must outlive the call.
struct IIF_API index_iface_browse_fields {
    /// Reads the clock once: the record looks at the moment at which it was made.
    index_iface_browse_fields();

    index_iface_time_t real_before_time;  ///< upper bound in nanoseconds, used when `before_time` is 0
    const char* path = nullptr;
    const char* object_guid = nullptr;
    const char* version_guid = nullptr;  ///< null means any version
    std::int64_t before_time = 0;        ///< upper bound in seconds; overrides `real_before_time` when not 0
    std::int64_t after_time = 0;         ///< lower bound in seconds
};
