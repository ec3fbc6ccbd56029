// Lock, spool directory and admin token of one server.
#include "server/data_directory.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "server/hex_text.h"

namespace index_server {

namespace {

constexpr std::size_t token_bytes = 32;
constexpr std::size_t shortest_token = 32;
constexpr std::size_t longest_token = 256;

std::string read_start(const descriptor& file, std::size_t most) {
    std::string text(most, '\0');
    const ssize_t got = ::pread(file.get(), text.data(), most, 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    text.erase(text.find_last_not_of("\r\n \t") + 1);
    return text;
}

descriptor take_lock(const std::string& directory) {
    const std::string path = directory + "/lock";
    descriptor lock = open_file(path, O_RDWR | O_CREAT, 0600);
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) throw_errno("cannot lock", path);
        throw std::runtime_error("the index server's directory " + directory + " is in use by process " +
                                 read_start(lock, 20));
    }
    const std::string owner = std::to_string(::getpid()) + "\n";
    if (::ftruncate(lock.get(), 0) != 0) throw_errno("cannot write", path);
    write_all(lock, owner.data(), owner.size(), path);
    return lock;
}

bool is_token(const std::string& text) {
    return text.size() >= shortest_token && text.find_first_of("\r\n \t") == std::string::npos;
}

std::string make_token_file(const std::string& directory, const std::string& path) {
    // Written beside and renamed, so that a crash never leaves half a token under the final name.
    std::string token = random_hex(token_bytes);
    const std::string fresh = path + ".new";
    ::unlink(fresh.c_str());
    const descriptor file = open_file(fresh, O_WRONLY | O_CREAT | O_EXCL, 0600);
    const std::string line = token + "\n";
    write_all(file, line.data(), line.size(), fresh);
    sync_file(file, fresh);
    if (std::rename(fresh.c_str(), path.c_str()) != 0) throw_errno("cannot rename", fresh);
    sync_directory(directory);
    return token;
}

}  // namespace

std::string read_token_file(const std::string& path) {
    std::string token = read_start(open_file(path, O_RDONLY), longest_token);
    if (!is_token(token)) {
        throw std::runtime_error("the token file " + path + " does not hold a text of 32 to 256 bytes without blanks");
    }
    return token;
}

data_directory::data_directory(const std::string& path) : path_(path), spool_(path + "/spool") {
    make_directory(path_);
    lock_ = take_lock(path_);
    make_directory(spool_);
}

std::string data_directory::admin_token() const {
    const std::string path = path_ + "/admin_token";
    if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) return make_token_file(path_, path);
    const descriptor file = open_file(path, O_RDONLY);
    // A copy made by hand may have been left open to others.
    if (::fchmod(file.get(), 0600) != 0) throw_errno("cannot restrict", path);
    std::string token = read_start(file, longest_token);
    if (!is_token(token)) {
        throw std::runtime_error("the admin token file " + path + " holds no token; remove it to have a new one made");
    }
    return token;
}

std::string data_directory::server_name() const {
    const std::string path = path_ + "/server_name";
    if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) return make_token_file(path_, path);
    std::string name = read_start(open_file(path, O_RDONLY), longest_token);
    // Under another name the transactions that are open under this one would never end.
    if (name.size() < shortest_token) throw std::runtime_error("the file " + path + " holds no name of a server");
    return name;
}

}  // namespace index_server
