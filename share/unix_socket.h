// Unix sockets at paths of any length.
#pragma once

#include <string>

#include "hostkit/descriptor.h"

namespace share_host {

/// A listening socket at `path`, mode 0600, in place of whatever socket stood there. Throws std::system_error.
hostkit::descriptor listen_at(const std::string& path);

/// Throws std::system_error with the errno value of what failed.
hostkit::descriptor connect_to(const std::string& path);

/// Sends everything, without SIGPIPE. False when the other side is gone.
bool send_all(int fd, const std::string& bytes);

}  // namespace share_host
