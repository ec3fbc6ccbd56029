// Files, directories and path helpers of the host. All results are CXoError unless said otherwise.
#pragma once

#include <cstdint>
#include <string>

#include "host/errors.h"
#include "host/visibility.h"

/// One open file, or none. Not safe for use by two threads at once. The destructor closes.
class IIF_HOST_API CXoFile {
public:
    CXoFile() noexcept = default;
    ~CXoFile();
    CXoFile(const CXoFile&) = delete;
    CXoFile& operator=(const CXoFile&) = delete;

    /// Opens `name` with Linux open flags and a mode. A file that was open is let go of only when the new one
    /// could be opened; after a failure the object stands for the former file.
    CXoError Open(const char* name, int flags, int mode);

    /// Reads up to `count` bytes from the current position; `count_read` tells how many arrived, which is less
    /// than `count` only at the end of the file. An interrupted call is resumed.
    CXoError Read(void* buffer, std::uint32_t count, std::uint32_t& count_read);

    /// Writes `count` bytes with one system call, which is repeated only when a signal interrupted it before it
    /// wrote anything. A short write is no error: `count_written` tells of it.
    CXoError Write(const void* data, std::uint32_t count, std::uint32_t& count_written);

    /// The size of the open file in bytes.
    CXoError Size(std::uint64_t& size);

    /// Closes the file; the object can be opened again.
    CXoError Close();

    /// The name of the open file, empty when there is none. Valid until the next Open or Close.
    const char* GetName() const noexcept { return name_.c_str(); }

    /// Removes a file. With `ignore_missing` a file that is not there is no error.
    static CXoError Delete(const char* path, bool ignore_missing);

    /// Copies a whole file, replacing the target.
    static CXoError Copy(const char* source, const char* target);

private:
    CXoError sync();

    int descriptor_ = -1;
    std::string name_;
    int sync_after_ms_ = -1;         // how often writes are forced to the disk: below 0 never, 0 after each one
    std::int64_t synced_at_ms_ = 0;  // when that was done last, on the monotonic clock
    bool unsynced_ = false;          // something was written since
    bool sync_failed_ = false;       // what the disk holds is in doubt: nothing more is written to this file
};

/// Directories.
class IIF_HOST_API CXoDirectory {
public:
    /// Makes a directory, with `parents` the missing parents as well. One that exists is no error.
    static CXoError Create(const char* path, bool parents);

    /// Removes a directory, with `contents` all that it holds; `ignore_missing` takes an absent one for removed.
    static CXoError Remove(const char* path, bool contents, bool ignore_missing);
};

/// Path texts.
class IIF_HOST_API FXPath {
public:
    /// Appends `name` to `path` with one separator between them. `flags` is 0. False when `name` is empty.
    static bool Append(std::string& path, const std::string& name, unsigned flags);
};

/// Text formatting.
class IIF_HOST_API FXString {
public:
    /// The printf-formatted text. May throw std::bad_alloc.
    static std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
};
