// Files of the server on plain system calls.
#include "server/posix_file.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace index_server {

descriptor& descriptor::operator=(descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
}

descriptor::~descriptor() {
    if (fd_ >= 0) ::close(fd_);
}

void throw_errno(const std::string& doing, const std::string& path) {
    throw std::runtime_error(doing + " " + path + ": " + std::generic_category().message(errno));
}

descriptor open_file(const std::string& path, int flags, unsigned mode) {
    int fd;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) throw_errno("cannot open", path);
    return descriptor(fd);
}

void write_all(const descriptor& file, const char* data, std::size_t size, const std::string& path) {
    while (size > 0) {
        const ssize_t written = ::write(file.get(), data, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) throw_errno("cannot write", path);
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void sync_file(const descriptor& file, const std::string& path) {
    if (::fsync(file.get()) != 0) throw_errno("cannot sync", path);
}

void sync_directory(const std::string& path) {
    sync_file(open_file(path, O_RDONLY | O_DIRECTORY), path);
}

void make_directory(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) == 0) return;
    if (errno == ENOENT) {
        const std::size_t cut = path.find_last_not_of('/');
        const std::size_t slash = path.find_last_of('/', cut);
        if (slash != std::string::npos && slash > 0) {
            make_directory(path.substr(0, slash));
            if (::mkdir(path.c_str(), 0700) == 0) return;
        }
    }
    struct stat info {};
    const int reason = errno;
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return;
    errno = reason;
    throw_errno("cannot make the directory", path);
}

}  // namespace index_server
