// GUIDs are name-based UUIDs over the handle's bytes, so that they need no memory: the same object gives the same GUID
// in every run.
#include "share/identity.h"

#include <fcntl.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cstring>

namespace share_host {
namespace {

/// Copy-up into the upper layer gives an unchanged object another time of birth there.
constexpr long overlay_magic = 0x794c7630;

// The names below this UUID are ours alone.
constexpr boost::uuids::uuid guid_space = {
    {0x5d, 0x0b, 0x6e, 0x2f, 0x8c, 0x41, 0x4e, 0x9a, 0xb3, 0x17, 0x60, 0xf2, 0xc9, 0x48, 0xd1, 0x7e}};

template <class Number>
void append_number(std::string& bytes, Number number) {
    char raw[sizeof number];
    std::memcpy(raw, &number, sizeof number);
    bytes.append(raw, sizeof number);
}

std::string guid_of(const std::string& text) {
    return boost::uuids::to_string(boost::uuids::name_generator_sha1(guid_space)(text));
}

/// The handle's type and bytes, empty when the file system gives none.
std::string file_system_handle(int fd) {
    alignas(file_handle) std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> storage{};
    auto* handle = reinterpret_cast<file_handle*>(storage.data());
    handle->handle_bytes = MAX_HANDLE_SZ;
    int mount_id = 0;
    if (::name_to_handle_at(fd, "", handle, &mount_id, AT_EMPTY_PATH) != 0) return {};
    std::string bytes;
    append_number(bytes, handle->handle_type);
    const char* content = storage.data() + sizeof(file_handle);
    bytes.append(content, std::min<std::size_t>(handle->handle_bytes, MAX_HANDLE_SZ));
    return bytes;
}

void append_birth_time(std::string& bytes, int fd) {
    struct statx extended {};
    if (::statx(fd, "", AT_EMPTY_PATH, STATX_BTIME, &extended) != 0 || !(extended.stx_mask & STATX_BTIME)) return;
    append_number(bytes, extended.stx_btime.tv_sec);
    append_number(bytes, extended.stx_btime.tv_nsec);
}

}  // namespace

const handle_reader::device& handle_reader::device_of(int fd, const struct stat& info) {
    const auto known = devices_.find(info.st_dev);
    if (known != devices_.end()) return known->second;
    device found;
    struct statfs system {};
    if (::fstatfs(fd, &system) == 0) {
        static_assert(sizeof system.f_fsid == sizeof found.id);
        std::memcpy(&found.id, &system.f_fsid, sizeof found.id);
        found.has_steady_birth_time = system.f_type != overlay_magic;
    }
    if (found.id == 0) found.id = info.st_dev;
    return devices_.emplace(info.st_dev, found).first->second;
}

std::string handle_reader::read(int fd, const struct stat& info) {
    const device& home = device_of(fd, info);
    const std::string handle = file_system_handle(fd);
    std::string bytes;
    if (!handle.empty()) {
        bytes = "handle ";
        append_number(bytes, home.id);
        return bytes + handle;
    }
    bytes = "inode ";
    append_number(bytes, static_cast<std::uint64_t>(info.st_dev));
    append_number(bytes, static_cast<std::uint64_t>(info.st_ino));
    if (home.has_steady_birth_time) append_birth_time(bytes, fd);
    return bytes;
}

std::string plain_guid(std::string_view handle) {
    return guid_of("object " + std::string(handle));
}

std::string further_name_guid(std::string_view handle, std::string_view parent_guid, std::string_view name) {
    // The handle's length keeps the border between it and what follows unmistakable.
    return guid_of("name " + std::to_string(handle.size()) + " " + std::string(handle) + std::string(parent_guid) +
                   "/" + std::string(name));
}

std::string version_guid_of(std::string_view object_guid, long long ctime_seconds) {
    return guid_of("version " + std::string(object_guid) + " " + std::to_string(ctime_seconds));
}

}  // namespace share_host
