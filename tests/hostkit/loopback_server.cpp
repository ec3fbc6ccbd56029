// See loopback_server.h. Answers are written as bytes, so that they can be broken anywhere.
#include "tests/hostkit/loopback_server.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <mutex>
#include <sstream>
#include <thread>

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;

struct connection {
    tcp::socket socket;
    boost::beast::flat_buffer buffer;
    http::request<http::string_body> request;
};

struct loopback_server::state {
    explicit state(handler given) : answer(std::move(given)), acceptor(io, {asio::ip::address_v4::loopback(), 0}) {
        accept();
        runner = std::thread([this] { io.run(); });
    }

    void accept() {
        acceptor.async_accept([this](boost::system::error_code failed, tcp::socket socket) {
            if (failed) return;
            read(std::make_shared<connection>(connection{std::move(socket), {}, {}}));
            accept();
        });
    }

    void read(const std::shared_ptr<connection>& peer) {
        peer->request = {};
        http::async_read(peer->socket, peer->buffer, peer->request,
                         [this, peer](boost::system::error_code failed, std::size_t) {
                             if (!failed) reply_to(peer);
                         });
    }

    void reply_to(const std::shared_ptr<connection>& peer) {
        std::ostringstream text;
        text << peer->request;
        std::size_t number = 0;
        {
            const std::lock_guard guard(lock);
            number = requests.size();
            requests.push_back(text.str());
        }
        const scripted_reply reply = answer(number, text.str());
        boost::system::error_code ignored;
        asio::write(peer->socket, asio::buffer(reply.bytes), ignored);
        if (reply.then == scripted_reply::after::keep) read(peer);
        if (reply.then == scripted_reply::after::silence) silent.push_back(peer);
    }

    handler answer;
    asio::io_context io;
    tcp::acceptor acceptor;
    std::vector<std::shared_ptr<connection>> silent;
    std::mutex lock;  // guards `requests`
    std::vector<std::string> requests;
    std::thread runner;
};

std::string whole_answer(int status, const std::string& body) {
    return "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
}

loopback_server::loopback_server(handler answer) : state_(new state(std::move(answer))) {}

loopback_server::~loopback_server() {
    state_->io.stop();
    state_->runner.join();
}

std::string loopback_server::url() const {
    return "http://127.0.0.1:" + std::to_string(state_->acceptor.local_endpoint().port()) + "/";
}

std::vector<std::string> loopback_server::requests() const {
    const std::lock_guard guard(state_->lock);
    return state_->requests;
}
