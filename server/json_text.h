// Texts that hosts said, as JSON can carry them.
#pragma once

#include <string>
#include <string_view>

namespace index_server {

/// The text with every byte that is not part of valid UTF-8 as \xHH, and a backslash doubled.
std::string json_text(std::string_view bytes);

}  // namespace index_server
