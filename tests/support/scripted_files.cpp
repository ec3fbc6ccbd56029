// The file class on real files, with faults on demand; and access(2), so that a test can say what is there.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>

#include "host/files.h"
#include "tests/support/scripted_host.h"

using scripted::file_fault;
using scripted::file_op;

namespace {

// The fault that this operation meets: error_number 0 and short_by 0 for none.
file_fault next_fault(file_op op, const std::string& name) {
    const std::lock_guard guard(scripted::host().lock);
    for (file_fault& fault : scripted::host().files.faults) {
        if (fault.op != op || fault.times == 0 || name.find(fault.name_part) == std::string::npos) continue;
        if (fault.skip > 0) {
            --fault.skip;
            continue;
        }
        --fault.times;
        return fault;
    }
    return {op, name, 0};
}

CXoError error_of(bool failed) {
    return failed ? FXErrorUtil::ErrorErrNo(errno) : CXoError::Success();
}

}  // namespace

CXoFile::~CXoFile() {
    Close();
}

CXoError CXoFile::Open(const char* name, int flags, int mode) {
    {
        const std::lock_guard guard(scripted::host().lock);
        const std::string leaf = std::string(name).substr(std::string(name).rfind('/') + 1);
        scripted::host().files.opens.push_back(leaf + " " + std::to_string(flags) + " " + std::to_string(mode));
    }
    const file_fault fault = next_fault(file_op::open, name);
    if (fault.error_number != 0) return FXErrorUtil::ErrorErrNo(fault.error_number);
    const int opened = ::open(name, flags, mode);
    if (opened < 0) return error_of(true);
    Close();
    descriptor_ = opened;
    name_ = name;
    return CXoError::Success();
}

CXoError CXoFile::Read(void* buffer, std::uint32_t count, std::uint32_t& count_read) {
    const file_fault fault = next_fault(file_op::read, name_);
    if (fault.error_number != 0) return FXErrorUtil::ErrorErrNo(fault.error_number);
    const ssize_t got = ::read(descriptor_, buffer, count);
    count_read = got < 0 ? 0 : static_cast<std::uint32_t>(got);
    return error_of(got < 0);
}

CXoError CXoFile::Write(const void* data, std::uint32_t count, std::uint32_t& count_written) {
    const file_fault fault = next_fault(file_op::write, name_);
    if (fault.error_number != 0) return FXErrorUtil::ErrorErrNo(fault.error_number);
    const ssize_t put = ::write(descriptor_, data, count - std::min(count, fault.short_by));
    count_written = put < 0 ? 0 : static_cast<std::uint32_t>(put);
    return error_of(put < 0);
}

CXoError CXoFile::Size(std::uint64_t& size) {
    const file_fault fault = next_fault(file_op::size, name_);
    if (fault.error_number != 0) return FXErrorUtil::ErrorErrNo(fault.error_number);
    struct stat status {};
    const int ret = ::fstat(descriptor_, &status);
    size = static_cast<std::uint64_t>(status.st_size);
    return error_of(ret != 0);
}

CXoError CXoFile::Close() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
    name_.clear();
    return CXoError::Success();
}

CXoError CXoFile::Delete(const char* path, bool) {
    return error_of(::unlink(path) != 0);
}

CXoError CXoFile::Copy(const char* source, const char* target) {
    std::ofstream(target, std::ios::binary) << std::ifstream(source, std::ios::binary).rdbuf();
    return CXoError::Success();
}

extern "C" int access(const char* path, int mode) noexcept {
    const std::lock_guard guard(scripted::host().lock);
    const auto answer = scripted::host().files.access_answers.find(path);
    if (answer == scripted::host().files.access_answers.end()) {
        return static_cast<int>(::syscall(SYS_faccessat, AT_FDCWD, path, mode));
    }
    errno = answer->second;
    return answer->second == 0 ? 0 : -1;
}
