// See loopback_server.h. Plain sockets, so that answers can be broken at any byte.
#include "tests/hostkit/loopback_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

std::string whole_answer(int status, const std::string& body) {
    return "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
}

loopback_server::loopback_server(handler answer, unsigned short port) : answer_(std::move(answer)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(listener_, 64) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::runtime_error("cannot listen on loopback");
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { accept_all(); });
}

loopback_server::~loopback_server() {
    stopping_ = true;
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    {
        const std::lock_guard guard(lock_);
        for (const int connection : connections_)
            ::shutdown(connection, SHUT_RDWR);
    }
    for (std::thread& thread : threads_)
        thread.join();
    for (const int connection : connections_)
        ::close(connection);
    ::close(listener_);
}

std::size_t loopback_server::connections() const {
    const std::lock_guard guard(lock_);
    return connections_.size();
}

std::vector<std::string> loopback_server::requests() const {
    const std::lock_guard guard(lock_);
    return requests_;
}

void loopback_server::accept_all() {
    for (;;) {
        const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0 || stopping_) {
            if (connection >= 0) ::close(connection);
            return;
        }
        const std::lock_guard guard(lock_);
        connections_.push_back(connection);
        threads_.emplace_back([this, connection] { serve(connection); });
    }
}

std::string loopback_server::read_request(int connection, std::string& buffer) {
    for (;;) {
        const std::size_t head = buffer.find("\r\n\r\n");
        if (head != std::string::npos) {
            const std::size_t length = buffer.find("Content-Length: ");
            const std::size_t body = length < head ? std::strtoul(buffer.c_str() + length + 16, nullptr, 10) : 0;
            if (buffer.size() >= head + 4 + body) {
                std::string request = buffer.substr(0, head + 4 + body);
                buffer.erase(0, request.size());
                return request;
            }
        }
        char bytes[65536];
        const ssize_t got = ::recv(connection, bytes, sizeof bytes, 0);
        if (got <= 0) return {};
        buffer.append(bytes, static_cast<std::size_t>(got));
    }
}

void loopback_server::serve(int connection) {
    std::string buffer;
    for (;;) {
        const std::string request = read_request(connection, buffer);
        if (request.empty()) return;
        std::size_t number = 0;
        {
            const std::lock_guard guard(lock_);
            number = requests_.size();
            requests_.push_back(request);
        }
        scripted_reply reply;
        {
            const std::lock_guard guard(answering_);
            reply = answer_(number, request);
        }
        ::send(connection, reply.bytes.data(), reply.bytes.size(), MSG_NOSIGNAL);
        if (reply.then == scripted_reply::after::close) {
            ::shutdown(connection, SHUT_RDWR);
            return;
        }
        if (reply.then == scripted_reply::after::silence) {
            char byte;
            while (::recv(connection, &byte, 1, 0) > 0) {
            }
            return;
        }
    }
}
