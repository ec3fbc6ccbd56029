// Names for objects and their versions that hold over renames and restarts: GUIDs made from what the file system itself
// calls an object.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace share_host {

/// Reads what a file system calls an object. The handle has the inode and its generation, so a later object that gets
/// the same inode number is another one. Where a file system gives no handles, the device, the inode number and the
/// time of birth stand in for it; the device number may then change with a restart of the machine, and the objects are
/// taken for new ones. Not thread-safe.
class handle_reader {
public:
    /// The handle of the object that `fd` (O_PATH will do) is open on and `info` describes, as bytes to make GUIDs
    /// from.
    std::string read(int fd, const struct stat& info);

private:
    struct device {
        std::uint64_t id = 0;
        bool has_steady_birth_time = true;
    };
    const device& device_of(int fd, const struct stat& info);

    std::map<std::uint64_t, device> devices_;
};

/// The GUID of an object with this handle, under its first name.
std::string plain_guid(std::string_view handle);

/// The GUID of a further name of the same inode: stays as long as the name stays in its directory.
std::string further_name_guid(std::string_view handle, std::string_view parent_guid, std::string_view name);

/// The GUID of the version that an object has since this second. Changes within one second are one version.
std::string version_guid_of(std::string_view object_guid, long long ctime_seconds);

}  // namespace share_host
