// One client connection of the HTTP front.
#pragma once

#include <functional>
#include <memory>

#include <boost/asio/ip/tcp.hpp>

#include "server/http_service.h"
#include "server/index_server.h"

namespace index_server {

/// What a connection needs of its listener; all of it outlives the connection.
struct connection_context {
    const server_settings& settings;
    http_service& service;
    std::function<void(lane, std::function<void()>)> post_work;  ///< has the work done on a worker of the lane
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

/// `ticket` is let go of when the connection is gone. The socket's executor is a strand.
std::shared_ptr<live_connection> make_connection(boost::asio::ip::tcp::socket socket, const connection_context& context,
                                                 std::shared_ptr<void> ticket);

}  // namespace index_server
