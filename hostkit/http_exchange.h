// One plain HTTP exchange with a service of the deployment, over pooled connections.
#pragma once

#include <optional>
#include <string>

#include "host/errors.h"

namespace hostkit {

/// What is sent. Settings of the section [server] complete it: connect_timeout_ms, total_timeout_ms,
/// max_response_bytes, verify_tls, ca_file, token, token_file.
struct http_request {
    std::string method = "GET";  ///< GET or POST
    std::string url{};           ///< http or https; redirects are not followed and no proxy is used
    std::string body{};          ///< of a POST
    std::string body_file{};     ///< when not empty, the file that a POST streams in place of `body`
    std::string content_type{};  ///< no such header when empty

    /// Bound on the whole exchange in milliseconds; 0 takes the setting, below 0 there is none.
    long total_timeout_ms = 0;
    /// Longest time in milliseconds without a byte in either direction; 0 means no such bound. Counted in seconds,
    /// rounded up.
    long stall_timeout_ms = 0;

    /// The bearer token. Without a value the process's own is sent, from [server] token or else the file that
    /// [server] token_file names; an empty text sends none.
    std::optional<std::string> bearer_token{};
};

/// What came back, whatever its status.
struct http_answer {
    long status = 0;
    std::string body;
};

/// Does one exchange; blocks. An error means that no whole answer arrived: no connection, a time-out, a cut or an
/// unbounded body, one above max_response_bytes, or a request that cannot be sent; `answer` is empty then. Any
/// status is an answer. FXErrorUtil::GetErrNo tells the kind: ECONNREFUSED, ETIMEDOUT, ECONNRESET, EFBIG, EPROTO (TLS),
/// EINVAL (the request), EIO and so on. The text names method, address and reason, and never the token. Any thread.
CXoError http_exchange(const http_request& request, http_answer& answer);

/// While `on`, exchanges under way fail within about a second and new ones at once, with ECANCELED, and a delivery
/// that waits for its outcome gives up: for a process that is leaving and must not wait out a silent server. Any
/// thread; safe in a signal handler.
void interrupt_exchanges(bool on) noexcept;

/// What interrupt_exchanges was last told.
bool exchanges_interrupted() noexcept;

/// `base` and `path` with exactly one slash between them.
std::string join_url(const std::string& base, const std::string& path);

}  // namespace hostkit
