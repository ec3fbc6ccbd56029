// The HTTP front: accepts connections, and owns the threads that serve them.
#pragma once

#include <memory>

#include "server/http_service.h"
#include "server/index_server.h"
#include "server/server_metrics.h"
#include "server/tls_identity.h"

namespace index_server {

/// Throws std::runtime_error when the settings' address is none, or is one that they do not allow.
void check_listen_address(const server_settings& settings);

/// Belongs to one thread. What it is given outlives it; a null `identity` means plain connections.
class http_listener {
public:
    http_listener(const server_settings& settings, http_service& service, server_metrics& metrics,
                  const tls_identity* identity);
    /// Stops.
    ~http_listener();
    http_listener(const http_listener&) = delete;
    http_listener& operator=(const http_listener&) = delete;

    /// Listens; on return connections are served. Throws std::runtime_error.
    void start();
    /// From now on requests are refused, those under way excepted, and each connection ends with its answer.
    void begin_stop();
    /// Waits for the requests under way, within the settings' bound, then closes what is left and joins all threads.
    void stop();

    unsigned short port() const;

private:
    struct impl;
    std::unique_ptr<impl> impl_;
};

}  // namespace index_server
