// The control socket: the operations of a share for other programs of the same user, one JSON object a line in and one
// out.
#pragma once

#include <map>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>

#include "hostkit/descriptor.h"
#include "share/index_port.h"

namespace share_host {

/// Longest request line in bytes, without its line feed.
constexpr std::size_t control_line_limit = 1 << 20;

/// Shares by name; each outlives the server that answers for it.
using served_shares = std::map<std::string, index_port*>;

/// Answers one request line with one line, both without the line feed. Never throws.
///
/// A request names its operation in `op`, by the library's own name, and its share in `share`, which may be left out
/// when there is just one. docs/control-protocol.md has the whole of it.
std::string answer_control_line(const served_shares& shares, std::string_view line, std::stop_token stop);

/// Serves connections, each on a thread of its own. There is no bound but half of the process's descriptors: beyond
/// that, new ones wait to be accepted. Requests
/// of one connection are answered in order. A line over the limit is answered with an error and passed over.
class control_server {
public:
    /// Makes the socket at `path`, mode 0600, in place of a stale one, and serves. The caller holds the lock of the
    /// state directory, so nobody else serves there. Throws std::system_error.
    control_server(std::string path, served_shares shares);

    /// Takes no more requests, ends the connections, removes the socket. Waits for requests under way, which return
    /// soon because their stop is requested, but for a network exchange with its own time limit.
    ~control_server();
    control_server(const control_server&) = delete;
    control_server& operator=(const control_server&) = delete;

private:
    struct state;
    std::unique_ptr<state> state_;
};

/// One connection to a control socket.
class control_client {
public:
    /// Throws std::system_error; ENOENT and ECONNREFUSED say that no host serves there.
    explicit control_client(const std::string& path);

    /// Sends one request line and returns the answer, both without the line feed. Blocks for as long as the host works
    /// on it. Throws std::system_error when the connection ends first.
    std::string ask(const std::string& line);

private:
    hostkit::descriptor fd_;
    std::string received_;
};

}  // namespace share_host
