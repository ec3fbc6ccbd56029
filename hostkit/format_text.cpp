// printf formatting into strings. Most texts are short, so they are formed on the stack and copied once.
#include "hostkit/format_text.h"

#include <cstdio>

namespace hostkit {

std::string format_text(const char* format, std::va_list arguments) {
    char short_text[512];
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(short_text, sizeof short_text, format, arguments);
    std::string text;
    try {
        if (length > 0 && static_cast<std::size_t>(length) < sizeof short_text) {
            text.assign(short_text, static_cast<std::size_t>(length));
        } else if (length > 0) {
            text.resize(static_cast<std::size_t>(length));
            std::vsnprintf(text.data(), text.size() + 1, format, again);
        }
    } catch (...) {
        va_end(again);
        throw;
    }
    va_end(again);
    return text;
}

}  // namespace hostkit
