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

constexpr const char* op_names[] = {"open ", "read ", "write ", "size "};

std::string leaf_of(const std::string& name) {
    return name.substr(name.rfind('/') + 1);
}

// What is planned for this operation: an error number, a write cut short, or nothing.
file_fault planned(file_op op, const std::string& name, unsigned count = 0) {
    const scripted::own_memory mine;
    if (scripted::refuses(op_names[static_cast<int>(op)] + leaf_of(name))) {
        const bool cut = op == file_op::write && scripted::cuts_writes();
        return {op, "", cut ? 0 : scripted::refused_errno, 0, 1, count / 2};
    }
    const std::lock_guard guard(scripted::host().lock);
    for (file_fault& fault : scripted::host().files.faults) {
        const bool meant = fault.op == op && fault.times > 0 && name.find(fault.name_part) != std::string::npos;
        if (!meant || fault.skip-- > 0) continue;
        --fault.times;
        return fault;
    }
    return {};
}

/// Runs a system call unless its failure is planned. The call's result is negative on failure.
template <class Call>
CXoError attempt(const file_fault& plan, Call call) {
    errno = plan.error_number;
    return plan.error_number != 0 || call() < 0 ? FXErrorUtil::ErrorErrNo(errno) : CXoError::Success();
}

}  // namespace

CXoFile::~CXoFile() {
    Close();
}

CXoError CXoFile::Open(const char* name, int flags, int mode) {
    const scripted::own_memory mine;
    {
        const std::lock_guard guard(scripted::host().lock);
        scripted::host().files.opens.push_back(leaf_of(name) + " " + std::to_string(flags) + " " +
                                               std::to_string(mode));
    }
    return attempt(planned(file_op::open, name), [&] {
        const int opened = ::open(name, flags, mode);
        if (opened >= 0) {
            Close();
            descriptor_ = opened;
            name_ = name;
        }
        return opened;
    });
}

CXoError CXoFile::Read(void* buffer, std::uint32_t count, std::uint32_t& count_read) {
    return attempt(planned(file_op::read, name_), [&] {
        const ssize_t got = ::read(descriptor_, buffer, count);
        count_read = static_cast<std::uint32_t>(std::max<ssize_t>(got, 0));
        return got;
    });
}

CXoError CXoFile::Write(const void* data, std::uint32_t count, std::uint32_t& count_written) {
    const file_fault plan = planned(file_op::write, name_, count);
    return attempt(plan, [&] {
        const ssize_t put = ::write(descriptor_, data, count - std::min(count, plan.short_by));
        count_written = static_cast<std::uint32_t>(std::max<ssize_t>(put, 0));
        return put;
    });
}

CXoError CXoFile::Size(std::uint64_t& size) {
    return attempt(planned(file_op::size, name_), [&] {
        struct stat status {};
        const int ret = ::fstat(descriptor_, &status);
        size = static_cast<std::uint64_t>(status.st_size);
        return ret;
    });
}

CXoError CXoFile::Close() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
    name_.clear();
    return CXoError::Success();
}

CXoError CXoFile::Delete(const char* path, bool) {
    const scripted::own_memory mine;
    if (scripted::refuses("delete " + leaf_of(path))) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    return attempt({}, [&] { return ::unlink(path); });
}

CXoError CXoFile::Copy(const char* source, const char* target) {
    const scripted::own_memory mine;
    if (scripted::refuses("copy " + leaf_of(source))) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    std::ofstream(target, std::ios::binary) << std::ifstream(source, std::ios::binary).rdbuf();
    return CXoError::Success();
}

extern "C" int access(const char* path, int mode) noexcept {
    const scripted::own_memory mine;
    const std::lock_guard guard(scripted::host().lock);
    const auto answer = scripted::host().files.access_answers.find(path);
    if (answer == scripted::host().files.access_answers.end()) {
        return static_cast<int>(::syscall(SYS_faccessat, AT_FDCWD, path, mode));
    }
    errno = answer->second;
    return answer->second == 0 ? 0 : -1;
}
