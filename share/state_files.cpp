// A file is written under a name of this process's own, synced, and then moved or linked to its place.
#include "share/state_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "hostkit/descriptor.h"

namespace share_host {
namespace {

constexpr std::size_t read_limit = std::size_t{64} << 10;

[[noreturn]] void fail(int number, const std::string& what, const std::string& path) {
    throw std::system_error(number, std::generic_category(), what + " " + path);
}

void write_all(int fd, const std::string& content, const std::string& path) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = ::write(fd, content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno, "cannot write", path);
        done += static_cast<std::size_t>(count);
    }
}

/// The temporary file's name. The guard removes the file again unless it has been moved away.
class temporary_file {
public:
    temporary_file(const std::string& target, const std::string& content)
        : path(target + ".new-" + std::to_string(::getpid())) {
        ::unlink(path.c_str());
        const hostkit::descriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!fd) fail(errno, "cannot create", path);
        write_all(fd.get(), content, path);
        if (::fsync(fd.get()) != 0) fail(errno, "cannot sync", path);
    }
    ~temporary_file() { ::unlink(path.c_str()); }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    const std::string path;
};

void sync_parent(const std::string& path) {
    const hostkit::descriptor fd(
        ::open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd || ::fsync(fd.get()) != 0) fail(errno, "cannot sync the directory of", path);
}

}  // namespace

std::optional<std::string> read_state_file(const std::string& path) {
    const hostkit::descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        if (errno == ENOENT) return std::nullopt;
        fail(errno, "cannot open", path);
    }
    std::string content(read_limit, '\0');
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = ::read(fd.get(), content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno, "cannot read", path);
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    content.resize(done);
    return content;
}

void replace_state_file(const std::string& path, const std::string& content) {
    const temporary_file file(path, content);
    if (::rename(file.path.c_str(), path.c_str()) != 0) fail(errno, "cannot replace", path);
    sync_parent(path);
}

bool create_state_file(const std::string& path, const std::string& content) {
    const temporary_file file(path, content);
    if (::link(file.path.c_str(), path.c_str()) != 0) {
        if (errno == EEXIST) return false;
        fail(errno, "cannot create", path);
    }
    sync_parent(path);
    return true;
}

}  // namespace share_host
