// Hex texts, random ones from the kernel's generator.
#include "server/hex_text.h"

#include <cerrno>
#include <stdexcept>
#include <vector>

#include <sys/random.h>

namespace index_server {

std::string to_hex(const unsigned char* bytes, std::size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(size * 2);
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

std::string random_hex(std::size_t bytes) {
    std::vector<unsigned char> raw(bytes);
    std::size_t have = 0;
    while (have < bytes) {
        const ssize_t got = ::getrandom(raw.data() + have, bytes - have, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) throw std::runtime_error("the system gives no random bytes");
        have += static_cast<std::size_t>(got);
    }
    return to_hex(raw.data(), raw.size());
}

}  // namespace index_server
