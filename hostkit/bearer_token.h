// The token by which this process is known to the index server.
#pragma once

#include <string>

namespace hostkit {

/// The setting [server] token or, without it, the first line of the file that [server] token_file names; empty when
/// there is neither. A file is read once for each name. Throws std::runtime_error with one plain sentence when
/// the file cannot be read. Any thread.
std::string process_token();

/// True when `token` can stand in a header: printable ASCII without spaces.
bool is_token_text(const std::string& token);

}  // namespace hostkit
