// One client connection of the HTTP front.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/ip/tcp.hpp>

#include "server/http_service.h"
#include "server/index_server.h"
#include "server/server_metrics.h"

namespace boost::asio::ssl {
class context;
}

namespace index_server {

/// What a connection needs of its listener; all of it outlives the connection.
struct connection_context {
    const server_settings& settings;
    http_service& service;
    server_metrics& metrics;
    std::function<void(lane, std::function<void()>)> post_work;  ///< has the work done on a worker of the lane
    /// Set once, when the server begins to stop: requests whose head is read after that are refused.
    std::atomic<bool> is_stopping{false};
};

/// An accepted connection.
struct accepted_connection {
    boost::asio::ip::tcp::socket socket;             ///< its executor runs one thing at a time
    std::string peer;                                ///< "address:port"
    std::shared_ptr<boost::asio::ssl::context> tls;  ///< null: plain
    std::shared_ptr<void> ticket;                    ///< let go of when the connection is gone
};

/// A connection as its listener sees it. It keeps itself alive while something is under way.
class live_connection {
public:
    virtual ~live_connection() = default;
    /// Takes up the first request.
    virtual void start() = 0;
    /// Ends it: at once with `now` or between two requests, otherwise after the request under way. Any thread.
    virtual void end(bool now) = 0;
};

std::shared_ptr<live_connection> make_connection(accepted_connection accepted, const connection_context& context);

}  // namespace index_server
