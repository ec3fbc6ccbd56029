// Copies of the embedded index, made while it is used.
#pragma once

#include <string>

namespace index_server {

/// Copies the database as it is at this moment into `file`, an absolute path, which appears there whole and synced,
/// mode 0600, or not at all. An existing file is replaced only with `overwrite`, and only when it is itself such a
/// copy. Throws backup_refused when the file may not be written, std::runtime_error when the copy fails.
void back_up_index(const std::string& database, const std::string& file, bool overwrite);

}  // namespace index_server
