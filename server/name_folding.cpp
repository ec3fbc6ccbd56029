// Case folding of names.
#include "server/name_folding.h"

#include <utf8proc.h>

#include <cstdlib>
#include <memory>

namespace index_server {

namespace {

std::string folded_ascii(std::string_view name) {
    std::string folded(name);
    for (char& c : folded) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return folded;
}

bool is_ascii(std::string_view name) {
    for (const char c : name) {
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    }
    return true;
}

}  // namespace

std::string folded_name(std::string_view name) {
    if (is_ascii(name)) return folded_ascii(name);
    utf8proc_uint8_t* out = nullptr;
    const utf8proc_ssize_t length =
        utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(name.data()), static_cast<utf8proc_ssize_t>(name.size()),
                     &out, static_cast<utf8proc_option_t>(UTF8PROC_CASEFOLD | UTF8PROC_STABLE));
    const std::unique_ptr<utf8proc_uint8_t, void (*)(void*)> owner(out, std::free);
    if (length < 0) return folded_ascii(name);
    return {reinterpret_cast<const char*>(out), static_cast<std::size_t>(length)};
}

}  // namespace index_server
