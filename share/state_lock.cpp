// The lock is the kernel's, so it ends with its process however that ends; the file's content only says whose it is.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "share/state_dir.h"

namespace share_host {
namespace {

long read_holder(int fd) {
    char text[32] = {};
    const ssize_t count = ::pread(fd, text, sizeof text - 1, 0);
    return count > 0 ? std::strtol(text, nullptr, 10) : 0;
}

[[noreturn]] void fail_as_held(const state_dir& state, int fd) {
    const long holder = read_holder(fd);
    const std::string who = holder > 0 ? "process " + std::to_string(holder) : std::string("another process");
    throw state_in_use(who + " is working on the share " + state.share_name + " (state in " + state.path + ")", holder);
}

}  // namespace

state_lock::state_lock(const state_dir& state) {
    const std::string path = state.lock_file();
    hostkit::descriptor fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!fd) throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) fail_as_held(state, fd.get());
        throw std::system_error(errno, std::generic_category(), "cannot lock " + path);
    }
    const std::string text = std::to_string(::getpid()) + "\n";
    if (::ftruncate(fd.get(), 0) != 0 || ::pwrite(fd.get(), text.data(), text.size(), 0) < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + path);
    }
    fd_ = std::move(fd);
}

}  // namespace share_host
