// One O_PATH descriptor per object makes all that is read about it belong to the same object, however the names move.
#include "share/disk_entry.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "share/encoding.h"
#include "share/xattr_text.h"

namespace share_host {
namespace {

int read_link(int fd, std::string& target) {
    std::string bytes(4096, '\0');
    const ssize_t length = ::readlinkat(fd, "", bytes.data(), bytes.size());
    if (length < 0) return errno;
    bytes.resize(static_cast<std::size_t>(length));
    target = encode_text(bytes);
    return 0;
}

}  // namespace

int read_entry(int directory_fd, const std::string& name, handle_reader& handles, disk_entry& entry) {
    const char* path = name.empty() ? "." : name.c_str();
    const hostkit::descriptor fd(::openat(directory_fd, path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!fd || ::fstat(fd.get(), &entry.info) != 0) return errno;
    entry.handle = handles.read(fd.get(), entry.info);
    entry.link_target.clear();
    entry.xattr.clear();
    if (S_ISLNK(entry.info.st_mode)) return read_link(fd.get(), entry.link_target);
    if (S_ISREG(entry.info.st_mode) || entry.is_directory()) entry.xattr = read_xattr_text(fd.get());
    return 0;
}

hostkit::descriptor open_directory_below(int root_fd, const std::string& path) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    constexpr int between = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    if (path.empty()) return hostkit::descriptor(::openat(root_fd, ".", flags));
    hostkit::descriptor current;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = path.find('/', begin);
        const std::string component = path.substr(begin, end - begin);
        const bool last = end == std::string::npos;
        const int parent = current ? current.get() : root_fd;
        hostkit::descriptor next(::openat(parent, component.c_str(), last ? flags : between));
        if (!next || last) return next;
        current = std::move(next);
        begin = end + 1;
    }
}

int list_names(int directory_fd, std::vector<std::string>& names) {
    hostkit::descriptor own(::openat(directory_fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(own ? ::fdopendir(own.get()) : nullptr, ::closedir);
    if (!stream) return errno;
    own.take();
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(stream.get());
        if (!entry) break;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    if (errno != 0) return errno;
    std::sort(names.begin(), names.end());
    return 0;
}

bool means_vanished(int number) {
    return number == ENOENT || number == ENOTDIR || number == ELOOP || number == ESTALE;
}

}  // namespace share_host
