// Small files of the state directory, which are replaced whole or not at all.
#pragma once

#include <optional>
#include <string>

namespace share_host {

/// The file's bytes, at most 64 KiB of them; nothing when there is no such file. Throws std::system_error.
std::optional<std::string> read_state_file(const std::string& path);

/// Writes the file anew, mode 0600, so that a crash leaves the former or the new content. Throws std::system_error.
void replace_state_file(const std::string& path, const std::string& content);

/// Makes the file with this content, mode 0600, unless it exists. True when it was made. Throws std::system_error.
bool create_state_file(const std::string& path, const std::string& content);

}  // namespace share_host
