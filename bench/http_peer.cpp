// Sockets and as little around them as can be.
#include "bench/http_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <stdexcept>

namespace bench {

namespace {

void must(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(std::string("cannot ") + what);
}

sockaddr_in loopback(unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Small answers leave at once.
void without_delay(int socket) {
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool send_all(int socket, const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t count = ::send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

/// Appends what has arrived; false at the end.
bool receive_some(int socket, std::string& text) {
    char piece[65536];
    const ssize_t count = ::recv(socket, piece, sizeof piece, 0);
    if (count <= 0) return false;
    text.append(piece, static_cast<std::size_t>(count));
    return true;
}

std::size_t announced_length(const std::string& head) {
    constexpr std::string_view name = "Content-Length: ";
    const std::size_t at = head.find(name);
    std::size_t length = 0;
    must(at != std::string::npos, "read an answer without length");
    std::from_chars(head.data() + at + name.size(), head.data() + head.size(), length);
    return length;
}

}  // namespace

http_client::http_client(unsigned short port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address = loopback(port);
    const bool connected = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    if (!connected) ::close(socket_);
    must(connected, "connect");
    without_delay(socket_);
}

http_client::~http_client() {
    ::close(socket_);
}

const std::string& http_client::exchange(const std::string& request) {
    must(send_all(socket_, request), "send a request");
    answer_.clear();
    std::size_t end = std::string::npos;
    while ((end = answer_.find("\r\n\r\n")) == std::string::npos)
        must(receive_some(socket_, answer_), "read an answer's head");
    body_at_ = end + 4;
    const std::size_t whole = body_at_ + announced_length(answer_.substr(0, body_at_));
    while (answer_.size() < whole)
        must(receive_some(socket_, answer_), "read an answer");
    must(answer_.starts_with("HTTP/1.1 20"), "be served");
    return answer_;
}

bare_peer::bare_peer(std::size_t request_bytes, std::string answer)
    : request_bytes_(request_bytes), answer_(std::move(answer)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    must(::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) == 0 && ::listen(listener_, 1) == 0 &&
             ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) == 0,
         "listen");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

bare_peer::~bare_peer() {
    ::shutdown(listener_, SHUT_RDWR);
    thread_.join();
    ::close(listener_);
}

void bare_peer::serve() {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    without_delay(socket);
    std::string request;
    while (receive_some(socket, request)) {
        if (request.size() < request_bytes_) continue;
        request.clear();
        if (!send_all(socket, answer_)) break;
    }
    ::close(socket);
}

}  // namespace bench
