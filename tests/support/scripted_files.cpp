// The host's file and directory calls with faults on demand.
#include "host/files.h"
#include "tests/support/scripted_host.h"

using scripted::file_fault;
using scripted::file_op;

namespace {

constexpr const char* op_names[] = {"open ", "read ", "write ", "size "};

std::string leaf_of(std::string_view name) {
    return std::string(name.substr(name.rfind('/') + 1));
}

// What is planned for this operation: an error number, a write cut short, or nothing.
file_fault planned(file_op op, std::string_view name, unsigned count = 0) {
    const scripted::own_memory mine;
    if (scripted::refuses(op_names[static_cast<int>(op)] + leaf_of(name))) {
        const bool cut = op == file_op::write && scripted::cuts_writes();
        return {op, "", cut ? 0 : scripted::refused_errno, 0, 1, count / 2};
    }
    const std::lock_guard guard(scripted::host().lock);
    for (file_fault& fault : scripted::host().files.faults) {
        const bool meant = fault.op == op && fault.times > 0 && name.find(fault.name_part) != name.npos;
        if (!meant || fault.skip-- > 0) continue;
        --fault.times;
        return fault;
    }
    return {};
}

/// Makes a call unless its failure is planned.
template <class Call>
CXoError attempt(const file_fault& plan, Call call) {
    return plan.error_number != 0 ? FXErrorUtil::ErrorErrNo(plan.error_number) : call();
}

template <class Call>
CXoError unless_refused(const char* what, const char* path, Call call) {
    const scripted::own_memory mine;
    return scripted::refuses(what + leaf_of(path)) ? FXErrorUtil::ErrorErrNo(scripted::refused_errno) : call();
}

}  // namespace

SCRIPTED_CALL(CXoError, open_file, "_ZN7CXoFile4OpenEPKcii", CXoFile* file, const char* name, int flags, int mode) {
    const scripted::own_memory mine;
    {
        const std::lock_guard guard(scripted::host().lock);
        scripted::host().files.opens.push_back(leaf_of(name) + " " + std::to_string(flags) + " " +
                                               std::to_string(mode));
    }
    return attempt(planned(file_op::open, name), [&] { return real_open_file(file, name, flags, mode); });
}

SCRIPTED_CALL(CXoError, read_file, "_ZN7CXoFile4ReadEPvjRj", CXoFile* file, void* buffer, std::uint32_t count,
              std::uint32_t& got) {
    return attempt(planned(file_op::read, file->GetName()), [&] { return real_read_file(file, buffer, count, got); });
}

SCRIPTED_CALL(CXoError, write_file, "_ZN7CXoFile5WriteEPKvjRj", CXoFile* file, const void* data, std::uint32_t count,
              std::uint32_t& put) {
    const file_fault plan = planned(file_op::write, file->GetName(), count);
    return attempt(plan, [&] { return real_write_file(file, data, count - std::min(count, plan.short_by), put); });
}

SCRIPTED_CALL(CXoError, size_of_file, "_ZN7CXoFile4SizeERm", CXoFile* file, std::uint64_t& size) {
    return attempt(planned(file_op::size, file->GetName()), [&] { return real_size_of_file(file, size); });
}

SCRIPTED_CALL(CXoError, delete_file, "_ZN7CXoFile6DeleteEPKcb", const char* path, bool ignore_missing) {
    return unless_refused("delete ", path, [&] { return real_delete_file(path, ignore_missing); });
}

SCRIPTED_CALL(CXoError, copy_file, "_ZN7CXoFile4CopyEPKcS1_", const char* source, const char* target) {
    return unless_refused("copy ", source, [&] { return real_copy_file(source, target); });
}

SCRIPTED_CALL(CXoError, create_directory, "_ZN12CXoDirectory6CreateEPKcb", const char* path, bool parents) {
    return unless_refused("directory", "", [&] { return real_create_directory(path, parents); });
}
