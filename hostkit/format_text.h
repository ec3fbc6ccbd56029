// printf formatting into strings, for the services whose interfaces take printf formats.
#pragma once

#include <cstdarg>
#include <string>

namespace hostkit {

/// The formatted text; empty when the format is broken. Leaves `arguments` unusable. May throw std::bad_alloc.
std::string format_text(const char* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

}  // namespace hostkit
