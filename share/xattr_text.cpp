// Attribute calls do not take an O_PATH descriptor, so the object is reached through its name in /proc.
#include "share/xattr_text.h"

#include <sys/xattr.h>

#include <algorithm>
#include <vector>

#include "share/encoding.h"

namespace share_host {
namespace {

constexpr std::string_view user_prefix = "user.";

/// The answer of a call that fills a buffer, whatever its size turns out to be.
template <class Call>
std::string read_whole(Call call) {
    const ssize_t needed = call(nullptr, 0);
    if (needed <= 0) return {};
    std::string bytes(static_cast<std::size_t>(needed), '\0');
    const ssize_t length = call(bytes.data(), bytes.size());
    bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return bytes;
}

std::vector<std::string> user_attributes(const std::string& path) {
    const std::string list =
        read_whole([&](char* to, std::size_t size) { return ::listxattr(path.c_str(), to, size); });
    std::vector<std::string> names;
    for (std::size_t begin = 0; begin < list.size();) {
        const std::string name = list.c_str() + begin;
        begin += name.size() + 1;
        if (name.starts_with(user_prefix)) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string encode_part(std::string_view bytes) {
    std::string result;
    for (const char byte : encode_text(bytes)) {
        if (byte == '=') {
            result += "%3D";
        } else if (byte == ';') {
            result += "%3B";
        } else {
            result += byte;
        }
    }
    return result;
}

}  // namespace

std::string read_xattr_text(int fd) {
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    std::string text;
    for (const std::string& name : user_attributes(path)) {
        const std::string value =
            read_whole([&](char* to, std::size_t size) { return ::getxattr(path.c_str(), name.c_str(), to, size); });
        const std::string part =
            encode_part(std::string_view(name).substr(user_prefix.size())) + "=" + encode_part(value) + ";";
        if (text.size() + part.size() <= xattr_text_limit) text += part;
    }
    return text;
}

bool same_xattr(std::string_view one, std::string_view other) {
    const auto plain = [](std::string_view text) { return text == no_xattr_text ? std::string_view() : text; };
    return plain(one) == plain(other);
}

}  // namespace share_host
