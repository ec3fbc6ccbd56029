// The repair of a journal file whose last line was cut off: a copy first, then one truncation.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "hostkit/descriptor.h"
#include "iif/exit_code.h"
#include "iif/journal_files.h"

namespace iif {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void cannot(const std::string& what, const fs::path& path) {
    throw program_error(exit_code::cannot_reach,
                        "Cannot " + what + " " + path.string() + ": " + std::strerror(errno) + ".");
}

ssize_t read_some(int fd, char* block, std::size_t size, off_t offset) {
    ssize_t got = 0;
    do
        got = ::pread(fd, block, size, offset);
    while (got < 0 && errno == EINTR);
    return got;
}

// Where the last complete line ends: the offset behind the last line feed, 0 without one.
off_t end_of_complete_lines(int fd, off_t size, const fs::path& file) {
    char block[1 << 16];
    for (off_t end = size; end > 0;) {
        const off_t begin = end > off_t{sizeof block} ? end - off_t{sizeof block} : 0;
        const ssize_t got = read_some(fd, block, static_cast<std::size_t>(end - begin), begin);
        if (got != end - begin) cannot("read", file);
        if (const void* feed = ::memrchr(block, '\n', static_cast<std::size_t>(got)))
            return begin + (static_cast<const char*>(feed) - block) + 1;
        end = begin;
    }
    return 0;
}

// The prefix keeps the copy from being taken for a journal at the next start.
hostkit::descriptor create_copy(const fs::path& file, fs::path& copy) {
    for (int number = 1;; ++number) {
        copy = file.parent_path() / ("before-repair-" + std::to_string(number) + "." + file.filename().string());
        hostkit::descriptor fd(::open(copy.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (fd) return fd;
        if (errno != EEXIST) cannot("create", copy);
    }
}

void copy_whole(int from, int to, const fs::path& file, const fs::path& copy) {
    char block[1 << 16];
    for (off_t offset = 0;;) {
        const ssize_t got = read_some(from, block, sizeof block, offset);
        if (got < 0) cannot("read", file);
        if (got == 0) break;
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = ::write(to, block + done, static_cast<std::size_t>(got - done));
            if (put < 0 && errno != EINTR) cannot("write", copy);
            if (put > 0) done += put;
        }
        offset += got;
    }
    if (::fsync(to) != 0) cannot("sync", copy);
}

void sync_directory(const fs::path& directory) {
    const hostkit::descriptor fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd || ::fsync(fd.get()) != 0) cannot("sync", directory);
}

}  // namespace

journal_repair repair_journal(const fs::path& file) {
    const hostkit::descriptor fd(::open(file.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    struct stat status {};
    if (!fd || ::fstat(fd.get(), &status) != 0) cannot("open", file);
    const off_t end = end_of_complete_lines(fd.get(), status.st_size, file);
    journal_repair repair;
    if (end == status.st_size) return repair;
    const hostkit::descriptor target = create_copy(file, repair.copy);
    copy_whole(fd.get(), target.get(), file, repair.copy);
    sync_directory(file.parent_path());
    // Only now, with the copy safe on the disk, may the file lose a byte.
    if (::ftruncate(fd.get(), end) != 0) cannot("cut", file);
    if (::fsync(fd.get()) != 0) cannot("sync", file);
    repair.cut_bytes = static_cast<std::uint64_t>(status.st_size - end);
    return repair;
}

}  // namespace iif
