// Making and removing directories.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>

#include "host/files.h"

namespace {

constexpr mode_t directory_mode = 0755;

// 0, or the errno value. A directory that another process makes meanwhile is as good as ours.
int make_one(const char* path) {
    if (::mkdir(path, directory_mode) == 0) return 0;
    const int ret = errno;
    struct stat about {};
    if (::stat(path, &about) != 0) return ret;
    return S_ISDIR(about.st_mode) ? 0 : ENOTDIR;
}

int make_with_parents(std::string path) {
    int ret = 0;
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        path[slash] = '\0';
        ret = make_one(path.c_str());
        path[slash] = '/';
        if (ret != 0) return ret;
    }
    return make_one(path.c_str());
}

}  // namespace

CXoError CXoDirectory::Create(const char* path, bool parents) {
    try {
        const int ret = parents ? make_with_parents(path) : make_one(path);
        return ret == 0 ? CXoError::Success() : FXErrorUtil::ErrorErrNo(ret);
    } catch (const std::bad_alloc&) {
        return FXErrorUtil::ErrorErrNo(ENOMEM);
    }
}

CXoError CXoDirectory::Remove(const char* path, bool contents, bool ignore_missing) {
    struct stat about {};
    if (::lstat(path, &about) != 0) {
        return ignore_missing && errno == ENOENT ? CXoError::Success() : FXErrorUtil::ErrorErrNo(errno, path);
    }
    if (!S_ISDIR(about.st_mode)) return FXErrorUtil::ErrorErrNo(ENOTDIR, path);
    if (!contents) return ::rmdir(path) == 0 ? CXoError::Success() : FXErrorUtil::ErrorErrNo(errno, path);
    try {
        // Symbolic links below are removed and not followed.
        std::error_code failure;
        std::filesystem::remove_all(path, failure);
        return failure ? FXErrorUtil::ErrorErrNo(failure.value(), path) : CXoError::Success();
    } catch (const std::bad_alloc&) {
        return FXErrorUtil::ErrorErrNo(ENOMEM);
    }
}
