// A server on loopback that answers each request with the bytes a test gives it, whole or broken.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
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
    /// Gets the number of the request, from 0, and the request with head and body; runs on one thread at a time.
    using handler = std::function<scripted_reply(std::size_t number, const std::string& request)>;

    /// Listens on `port`, or on one that is free.
    explicit loopback_server(handler answer, unsigned short port = 0);
    ~loopback_server();

    unsigned short port() const { return port_; }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }
    std::size_t connections() const;
    std::vector<std::string> requests() const;

private:
    void accept_all();
    void serve(int connection);
    std::string read_request(int connection, std::string& buffer);

    handler answer_;
    int listener_ = -1;
    unsigned short port_ = 0;
    std::atomic<bool> stopping_{
        false};                // written by the destructor, read by the threads after their descriptor woke them
    mutable std::mutex lock_;  // guards the three below
    std::vector<int> connections_;
    std::vector<std::string> requests_;
    std::vector<std::thread> threads_;
    std::mutex answering_;  // held while answer_ runs
    std::thread acceptor_;
};
