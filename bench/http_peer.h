// The least that an HTTP exchange costs: a blocking client over one kept connection, and a peer that answers every
// request with the same bytes without looking at them.
#pragma once

#include <memory>
#include <string>
#include <thread>

namespace bench {

/// One kept connection to a port of this machine. One thread at a time; every failure throws std::runtime_error.
class http_client {
public:
    explicit http_client(unsigned short port);
    ~http_client();
    http_client(const http_client&) = delete;
    http_client& operator=(const http_client&) = delete;

    /// Sends a whole request and gives the whole answer, which holds until the next one.
    const std::string& exchange(const std::string& request);
    /// The body of the latest answer.
    std::string body() const { return answer_.substr(body_at_); }

private:
    int socket_ = -1;
    std::string answer_;
    std::size_t body_at_ = 0;
};

/// Answers every `request_bytes` that arrive with `answer`, over one connection, until it goes.
class bare_peer {
public:
    bare_peer(std::size_t request_bytes, std::string answer);
    ~bare_peer();

    unsigned short port() const { return port_; }

private:
    void serve();

    const std::size_t request_bytes_;
    const std::string answer_;
    int listener_ = -1;
    unsigned short port_ = 0;
    std::thread thread_;
};

}  // namespace bench
