// The server's own settings out of the settings of its process.
#pragma once

#include "server/index_server.h"

namespace hostkit {
class settings;
}

namespace index_server {

/// What section [server] says, defaults for the rest. Throws std::runtime_error with one plain sentence about a value
/// that cannot be understood or is out of its range.
server_settings read_server_settings(const hostkit::settings& from);

}  // namespace index_server
