// What stands between the HTTP front and the rest of the server: plain requests and answers, no sockets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace index_server {

/// A request's head.
struct http_head {
    std::string method;
    std::string path;                         ///< up to the first '?'
    std::string query;                        ///< after it
    std::optional<std::string> token;         ///< of "Authorization: Bearer"
    std::optional<std::uint64_t> body_bytes;  ///< announced length; absent when the request does not tell
};

struct http_reply {
    unsigned status = 200;
    std::string body;
    const char* content_type = "application/json";
};

/// {"error":"..."} with a status.
http_reply error_reply(unsigned status, const std::string& text);

/// Takes the one answer of a request. Any thread, at once or later.
using reply_sink = std::function<void(http_reply)>;

/// Takes a body piece by piece. Its operations run one after the other on workers and may throw; destroyed without
/// `finish` when the body does not arrive whole.
class body_target {
public:
    virtual ~body_target() = default;
    virtual void write(const char* data, std::size_t size) = 0;
    virtual void finish(const reply_sink& reply) = 0;
};

/// Which workers do the work: slow collection must not hold up searches.
enum class lane { search, collect };

/// What becomes of a request, decided on its head. One of `reply`, `target`, `run` and `later` is set.
struct http_plan {
    using maker = std::function<http_plan()>;

    std::optional<http_reply> reply;                                            ///< the answer is known already
    std::unique_ptr<body_target> target;                                        ///< the body goes there
    std::function<void(const std::string& body, const reply_sink& reply)> run;  ///< wants the body whole; may throw
    /// The plan takes waiting. Calls its argument once, at once or later and on any thread; what it passes then makes
    /// the plan as `http_service::plan` does.
    std::function<void(const std::function<void(maker)>& go_on)> later;
    /// Whether `run` is over before going to a worker would be, so that it may be done on the network thread. Absent:
    /// no.
    std::function<bool(const std::string& body)> is_short;
    std::uint64_t most_body_bytes = 0;  ///< a longer body is refused
    lane work_lane = lane::search;
    const char* route = "unknown";  ///< under which the request is counted
};

/// The server behind the front.
class http_service {
public:
    virtual ~http_service() = default;
    /// Runs on a network thread: must not wait for storage or disk. May throw.
    virtual http_plan plan(const http_head& head) = 0;
    /// How many searches are worth running at once, even on fewer processors.
    virtual unsigned searches_at_once() const { return 1; }
};

}  // namespace index_server
