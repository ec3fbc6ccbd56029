// The host's file and directory calls, each of which the fault plan can refuse.
#include "host/files.h"
#include "tests/support/scripted_host.h"

namespace {

std::string leaf_of(std::string_view name) {
    return std::string(name.substr(name.rfind('/') + 1));
}

template <class Call>
CXoError unless_refused(const char* what, std::string_view path, Call call) {
    const scripted::own_memory mine;
    return scripted::refuses(what + leaf_of(path)) ? FXErrorUtil::ErrorErrNo(scripted::refused_errno) : call();
}

}  // namespace

SCRIPTED_CALL(CXoError, open_file, "_ZN7CXoFile4OpenEPKcii", CXoFile* file, const char* name, int flags, int mode) {
    const scripted::own_memory mine;
    {
        const std::lock_guard guard(scripted::host().lock);
        scripted::host().opens.push_back(leaf_of(name) + " " + std::to_string(flags) + " " + std::to_string(mode));
    }
    return unless_refused("open ", name, [&] { return real_open_file(file, name, flags, mode); });
}

SCRIPTED_CALL(CXoError, read_file, "_ZN7CXoFile4ReadEPvjRj", CXoFile* file, void* buffer, std::uint32_t count,
              std::uint32_t& got) {
    return unless_refused("read ", file->GetName(), [&] { return real_read_file(file, buffer, count, got); });
}

SCRIPTED_CALL(CXoError, write_file, "_ZN7CXoFile5WriteEPKvjRj", CXoFile* file, const void* data, std::uint32_t count,
              std::uint32_t& put) {
    const scripted::own_memory mine;
    const bool refused = scripted::refuses("write " + leaf_of(file->GetName()));
    if (refused && !scripted::cuts_writes()) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    return real_write_file(file, data, refused ? count - count / 2 : count, put);
}

SCRIPTED_CALL(CXoError, size_of_file, "_ZN7CXoFile4SizeERm", CXoFile* file, std::uint64_t& size) {
    return unless_refused("size ", file->GetName(), [&] { return real_size_of_file(file, size); });
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
