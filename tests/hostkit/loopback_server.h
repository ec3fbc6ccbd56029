// A server on loopback that answers each request with the bytes a test gives it, whole or broken.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// What the server does with one request: sends `bytes`, then goes on with the connection, closes it, or holds it open
/// in silence until the server stops.
struct scripted_reply {
    enum class after { keep, close, silence };
    std::string bytes;
    after then = after::keep;
};

/// An answer with a length, as a healthy server sends it.
std::string whole_answer(int status, const std::string& body);

class loopback_server {
public:
    /// Gets the number of the request, from 0, and the request with head and body; runs on the server's one thread.
    using handler = std::function<scripted_reply(std::size_t number, const std::string& request)>;

    explicit loopback_server(handler answer);
    ~loopback_server();

    std::string url() const;
    std::vector<std::string> requests() const;

private:
    struct state;
    const std::unique_ptr<state> state_;
};
