// Path joining and text formatting.
#include <cstdarg>

#include "host/files.h"
#include "hostkit/format_text.h"

bool FXPath::Append(std::string& path, const std::string& name, unsigned) {
    if (name.empty()) return false;
    if (path.empty()) {
        path = name;
        return true;
    }
    const std::size_t kept = path.find_last_not_of('/');
    const std::size_t start = name.find_first_not_of('/');
    path.resize(kept == std::string::npos ? 0 : kept + 1);
    path += '/';
    if (start != std::string::npos) path.append(name, start);
    return true;
}

std::string FXString::Format(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text;
    try {
        text = hostkit::format_text(format, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    return text;
}
