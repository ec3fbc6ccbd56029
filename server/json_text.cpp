// Texts that hosts said, as JSON can carry them.
#include "server/json_text.h"

#include <utf8proc.h>

#include "server/hex_text.h"

namespace index_server {

std::string json_text(std::string_view bytes) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size();) {
        const auto* rest = reinterpret_cast<const utf8proc_uint8_t*>(bytes.data() + at);
        utf8proc_int32_t point = 0;
        const utf8proc_ssize_t used = utf8proc_iterate(rest, static_cast<utf8proc_ssize_t>(bytes.size() - at), &point);
        if (used <= 0) {
            text += "\\x" + to_hex(rest, 1);
            ++at;
            continue;
        }
        if (point == '\\') text += '\\';
        text.append(bytes, at, static_cast<std::size_t>(used));
        at += static_cast<std::size_t>(used);
    }
    return text;
}

}  // namespace index_server
