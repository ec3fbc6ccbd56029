// Small owners around descriptors, and the durable steps that the server's own files need.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace index_server {

/// Owns one descriptor, or none (-1).
class descriptor {
public:
    descriptor() = default;
    explicit descriptor(int fd) : fd_(fd) {}
    descriptor(descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    descriptor& operator=(descriptor&& other) noexcept;
    ~descriptor();
    int get() const { return fd_; }
    bool is_open() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

/// Throws std::runtime_error "<doing> <path>: <errno text>".
[[noreturn]] void throw_errno(const std::string& doing, const std::string& path);

/// Opens with O_CLOEXEC. Throws std::runtime_error.
descriptor open_file(const std::string& path, int flags, unsigned mode = 0);

/// Writes all of it, however many calls that takes. Throws std::runtime_error.
void write_all(const descriptor& file, const char* data, std::size_t size, const std::string& path);

/// Syncs a file, or a directory so that names made or removed in it last. Throws std::runtime_error.
void sync_file(const descriptor& file, const std::string& path);
void sync_directory(const std::string& path);

/// Makes a directory, mode 0700, with the missing ones above it. Throws std::runtime_error.
void make_directory(const std::string& path);

}  // namespace index_server
