// A socket address holds some hundred bytes only. The socket's directory is opened first and the address goes through
// its descriptor, so that the length of the state directory's path does not matter.
#include "share/unix_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace share_host {
namespace {

constexpr int waiting_connections = 64;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
    throw std::system_error(errno, std::generic_category(), what + " " + path);
}

struct socket_address {
    hostkit::descriptor directory;
    sockaddr_un address{};

    explicit socket_address(const std::string& path) {
        const std::size_t slash = path.rfind('/');
        const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
        directory = hostkit::descriptor(::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!directory) fail("cannot open the directory of", path);
        const std::string reached = "/proc/self/fd/" + std::to_string(directory.get()) + "/" + path.substr(slash + 1);
        if (reached.size() >= sizeof address.sun_path) {
            errno = ENAMETOOLONG;
            fail("cannot use the socket", path);
        }
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, reached.c_str(), reached.size() + 1);
    }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};

hostkit::descriptor new_socket(const std::string& path) {
    hostkit::descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) fail("cannot make a socket for", path);
    return fd;
}

}  // namespace

hostkit::descriptor listen_at(const std::string& path) {
    const socket_address address(path);
    hostkit::descriptor fd = new_socket(path);
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) fail("cannot remove the former socket", path);
    // The mode is in place before anybody can connect, which takes the listen.
    if (::bind(fd.get(), address.get(), sizeof address.address) != 0 || ::chmod(path.c_str(), 0600) != 0 ||
        ::listen(fd.get(), waiting_connections) != 0) {
        fail("cannot serve at", path);
    }
    return fd;
}

hostkit::descriptor connect_to(const std::string& path) {
    const socket_address address(path);
    hostkit::descriptor fd = new_socket(path);
    if (::connect(fd.get(), address.get(), sizeof address.address) != 0) fail("cannot connect to", path);
    return fd;
}

bool send_all(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace share_host
