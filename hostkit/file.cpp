// The file class on the plain calls of the system.
//
// Syncing. A file opened for appending follows the setting journal_sync as it stands at Open: its writes are forced to
// the disk never, each, or by the first write after an interval has run out. What an interval still owes is forced
// before the object goes on to another file. Where the setting asks for any of this, a new file's name is forced too,
// since lines in a file without a name are lost. After a failed sync the system may hold the lost pages for written, so
// no later sync can be believed: every further write to that file fails.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <new>
#include <vector>

#include "host/files.h"
#include "hostkit/descriptor.h"
#include "hostkit/journal_sync.h"

namespace {

using hostkit::descriptor;

std::int64_t monotonic_ms() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

int open_uninterrupted(const char* name, int flags, mode_t mode) {
    int number;
    do {
        number = ::open(name, flags | O_CLOEXEC, mode);
    } while (number < 0 && errno == EINTR);
    return number;
}

ssize_t read_uninterrupted(int number, void* buffer, std::size_t count) {
    ssize_t got;
    do {
        got = ::read(number, buffer, count);
    } while (got < 0 && errno == EINTR);
    return got;
}

// Not the C library's write: that one is a point where a thread can be cancelled, and a thread that went away in the
// middle of a change would leave its caller's lock behind.
ssize_t write_uninterrupted(int number, const void* data, std::size_t count) {
    ssize_t written;
    do {
        written = ::syscall(SYS_write, number, data, count);
    } while (written < 0 && errno == EINTR);
    return written;
}

CXoError sync_directory_of(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : name.substr(0, slash + 1);
    const descriptor opened(open_uninterrupted(directory.c_str(), O_RDONLY | O_DIRECTORY, 0));
    if (!opened || ::fsync(opened.get()) != 0) {
        return FXErrorUtil::ErrorErrNo(errno, ("cannot sync the directory " + directory).c_str());
    }
    return CXoError::Success();
}

CXoError copy_bytes(int from, int to) {
    std::vector<char> block(1U << 20);
    for (;;) {
        const ssize_t got = read_uninterrupted(from, block.data(), block.size());
        if (got == 0) return CXoError::Success();
        if (got < 0) return FXErrorUtil::ErrorErrNo(errno, "cannot read the file to copy");
        for (ssize_t done = 0; done < got;) {
            const ssize_t written = write_uninterrupted(to, block.data() + done, static_cast<std::size_t>(got - done));
            if (written <= 0) return FXErrorUtil::ErrorErrNo(written < 0 ? errno : EIO, "cannot write the copy");
            done += written;
        }
    }
}

CXoError copy_whole(const char* source, const std::string& target) {
    const descriptor from(open_uninterrupted(source, O_RDONLY, 0));
    if (!from) return FXErrorUtil::ErrorErrNo(errno, source);
    struct stat about {};
    if (::fstat(from.get(), &about) != 0) return FXErrorUtil::ErrorErrNo(errno, source);
    if (!S_ISREG(about.st_mode)) return FXErrorUtil::ErrorErrNo(EINVAL, "only a regular file can be copied");

    // Made beside the target and then put in its place, so that there is never half a copy under that name.
    std::string temporary = target + ".XXXXXX";
    const int number = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (number < 0) return FXErrorUtil::ErrorErrNo(errno, target.c_str());
    descriptor to(number);
    CXoError error = copy_bytes(from.get(), to.get());
    if (!error.IsError() && ::fchmod(to.get(), about.st_mode & 0777U) != 0) {
        error = FXErrorUtil::ErrorErrNo(errno, target.c_str());
    }
    if (::close(to.take()) != 0 && !error.IsError()) error = FXErrorUtil::ErrorErrNo(errno, target.c_str());
    if (!error.IsError() && ::rename(temporary.c_str(), target.c_str()) != 0) {
        error = FXErrorUtil::ErrorErrNo(errno, target.c_str());
    }
    if (error.IsError()) ::unlink(temporary.c_str());
    return error;
}

}  // namespace

CXoFile::~CXoFile() {
    Close();
}

CXoError CXoFile::Open(const char* name, int flags, int mode) {
    // What the former file owes the disk comes first: were it found wanting after the new file was made, the new name
    // would be in the way of the next attempt.
    if (unsynced_ && sync_after_ms_ > 0 && !sync_failed_) {
        CXoError error = sync();
        if (error.IsError()) return error;
    }
    try {
        std::string new_name(name);
        const std::optional<int> sync_after_ms = (flags & O_APPEND) != 0 ? hostkit::journal_sync_ms() : -1;
        if (!sync_after_ms) {
            return FXErrorUtil::ErrorErrNo(EINVAL, "the setting journal_sync is not none, always or interval:<ms>");
        }
        descriptor opened(open_uninterrupted(name, flags, static_cast<mode_t>(mode)));
        if (!opened) return FXErrorUtil::ErrorErrNo(errno);
        if (*sync_after_ms >= 0 && (flags & O_CREAT) != 0) {
            CXoError error = sync_directory_of(new_name);
            if (error.IsError()) {
                if ((flags & O_EXCL) != 0) ::unlink(name);
                return error;
            }
        }
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = opened.take();
        name_.swap(new_name);
        sync_after_ms_ = *sync_after_ms;
        synced_at_ms_ = sync_after_ms_ > 0 ? monotonic_ms() : 0;
        unsynced_ = sync_failed_ = false;
        return CXoError::Success();
    } catch (const std::bad_alloc&) {
        return FXErrorUtil::ErrorErrNo(ENOMEM);
    }
}

CXoError CXoFile::Read(void* buffer, std::uint32_t count, std::uint32_t& count_read) {
    count_read = 0;
    while (count_read < count) {
        const ssize_t got =
            read_uninterrupted(descriptor_, static_cast<char*>(buffer) + count_read, count - count_read);
        if (got < 0) return FXErrorUtil::ErrorErrNo(errno);
        if (got == 0) break;
        count_read += static_cast<std::uint32_t>(got);
    }
    return CXoError::Success();
}

CXoError CXoFile::Write(const void* data, std::uint32_t count, std::uint32_t& count_written) {
    count_written = 0;
    if (sync_failed_) return FXErrorUtil::ErrorErrNo(EIO, "an earlier write was not forced to the disk");
    const ssize_t written = write_uninterrupted(descriptor_, data, count);
    if (written < 0) return FXErrorUtil::ErrorErrNo(errno);
    count_written = static_cast<std::uint32_t>(written);
    if (sync_after_ms_ < 0) return CXoError::Success();
    unsynced_ = true;
    if (sync_after_ms_ > 0 && monotonic_ms() - synced_at_ms_ < sync_after_ms_) return CXoError::Success();
    return sync();
}

CXoError CXoFile::sync() {
    if (::fdatasync(descriptor_) != 0) {
        sync_failed_ = true;
        return FXErrorUtil::ErrorErrNo(errno, "cannot force the file to the disk");
    }
    unsynced_ = false;
    if (sync_after_ms_ > 0) synced_at_ms_ = monotonic_ms();
    return CXoError::Success();
}

CXoError CXoFile::Size(std::uint64_t& size) {
    struct stat about {};
    if (::fstat(descriptor_, &about) != 0) return FXErrorUtil::ErrorErrNo(errno);
    size = static_cast<std::uint64_t>(about.st_size);
    return CXoError::Success();
}

CXoError CXoFile::Close() {
    if (descriptor_ < 0) return CXoError::Success();
    CXoError error;
    if (unsynced_ && sync_after_ms_ > 0 && !sync_failed_) error = sync();
    // Not repeated when interrupted: the descriptor is gone then too.
    if (::close(descriptor_) != 0 && errno != EINTR && !error.IsError()) error = FXErrorUtil::ErrorErrNo(errno);
    descriptor_ = -1;
    name_.clear();
    sync_after_ms_ = -1;
    unsynced_ = sync_failed_ = false;
    return error;
}

CXoError CXoFile::Delete(const char* path, bool ignore_missing) {
    if (::unlink(path) == 0 || (ignore_missing && errno == ENOENT)) return CXoError::Success();
    return FXErrorUtil::ErrorErrNo(errno, path);
}

CXoError CXoFile::Copy(const char* source, const char* target) {
    try {
        return copy_whole(source, target);
    } catch (const std::bad_alloc&) {
        return FXErrorUtil::ErrorErrNo(ENOMEM);
    }
}
