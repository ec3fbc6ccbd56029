// What the disk says: directories and the objects in them, read without ever following a symbolic link.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "hostkit/descriptor.h"
#include "share/identity.h"

namespace share_host {

/// An object on disk. Texts are encoded already.
struct disk_entry {
    struct stat info {};
    std::string handle;
    std::string link_target;
    std::string xattr;

    bool is_directory() const { return S_ISDIR(info.st_mode); }
    /// One inode under several names. Directories have one name each, whatever their link count says.
    bool has_further_names() const { return !is_directory() && info.st_nlink > 1; }
};

/// 0, or the errno value of what failed. ENOENT: the name is gone meanwhile. `name` may be "" for the directory itself.
int read_entry(int directory_fd, const std::string& name, handle_reader& handles, disk_entry& entry);

/// Opens the directory at `path` ("a/b", "" for the root itself) below `root_fd`, one component after the other, so
/// that depth has no limit and no symbolic link is followed. On failure the descriptor is empty and errno says why.
hostkit::descriptor open_directory_below(int root_fd, const std::string& path);

/// The names in a directory, sorted, without "." and "..". 0 or an errno value.
int list_names(int directory_fd, std::vector<std::string>& names);

/// True when errno value `number` says that an object is no longer what the listing said it was.
bool means_vanished(int number);

}  // namespace share_host
