// Accepting, worker lanes and orderly stopping of the HTTP front.
#include "server/http_listener.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>

#include "hostkit/log.h"
#include "server/connection_book.h"
#include "server/http_connection.h"

namespace index_server {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr unsigned collect_threads = 4;
constexpr std::chrono::milliseconds accept_pause{100};

tcp::endpoint endpoint_of(const server_settings& settings) {
    error_code malformed;
    const asio::ip::address address = asio::ip::make_address(settings.listen_address, malformed);
    if (malformed) throw std::runtime_error("[" + settings.listen_address + "] is not a numeric IP address");
    return {address, settings.port};
}

unsigned processors() {
    return std::max(2u, std::thread::hardware_concurrency());
}

/// A thread with the connections that belong to it for good: what they have to do wakes no other thread, and of each
/// connection one thing runs at a time.
struct network_loop {
    void run() {
        for (;;) {
            try {
                context.run();
                return;
            } catch (const std::exception& failure) {
                HOSTKIT_LOG(-1, "index server: a connection failed: %s", failure.what());
            }
        }
    }

    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> keep_running{context.get_executor()};
    std::thread thread;
};

std::vector<std::unique_ptr<network_loop>> make_loops() {
    std::vector<std::unique_ptr<network_loop>> made(processors());
    for (auto& loop : made)
        loop = std::make_unique<network_loop>();
    return made;
}

}  // namespace

void check_listen_address(const server_settings& settings) {
    const bool is_safe = endpoint_of(settings).address().is_loopback() || !settings.tls_certificate.empty();
    if (!is_safe && !settings.allow_plain_off_loopback) {
        throw std::runtime_error("other machines can reach " + settings.listen_address +
                                 ", and without TLS the server would take their tokens in the clear; set "
                                 "tls_certificate and tls_key in [server], or allow it with allow_plain=1");
    }
}

struct http_listener::impl {
    impl(const server_settings& the_settings, http_service& service, server_metrics& the_metrics,
         const tls_identity* the_identity)
        : settings(the_settings),
          metrics(the_metrics),
          identity(the_identity),
          context{the_settings, service, the_metrics,
                  [this](lane where, std::function<void()> work) {
                      asio::post(where == lane::search ? search_pool : collect_pool, std::move(work));
                  }},
          search_pool(std::max(processors(), service.searches_at_once())) {}

    void listen();
    void accept();
    void on_accept(error_code error, tcp::socket socket);
    void take(tcp::socket socket);
    network_loop& next_loop() { return *loops[accepted++ % loops.size()]; }

    const server_settings& settings;
    server_metrics& metrics;
    const tls_identity* const identity;
    // Both before the loops and pools, with which the last connections go.
    connection_book book;
    connection_context context;
    std::vector<std::unique_ptr<network_loop>> loops = make_loops();
    std::size_t accepted = 0;  ///< on the first loop alone
    tcp::acceptor acceptor{loops.front()->context};
    asio::steady_timer pause{loops.front()->context};
    asio::thread_pool search_pool;
    asio::thread_pool collect_pool{collect_threads};
    bool is_running = false;
    unsigned short port = 0;
};

void http_listener::impl::listen() {
    const tcp::endpoint endpoint = endpoint_of(settings);
    try {
        acceptor.open(endpoint.protocol());
        acceptor.set_option(tcp::acceptor::reuse_address(true));
        acceptor.bind(endpoint);
        acceptor.listen();
        port = acceptor.local_endpoint().port();
    } catch (const boost::system::system_error& failure) {
        throw std::runtime_error("cannot listen on " + settings.listen_address + " port " +
                                 std::to_string(settings.port) + ": " + failure.code().message());
    }
}

void http_listener::impl::accept() {
    acceptor.async_accept(next_loop().context,
                          [this](error_code error, tcp::socket socket) { on_accept(error, std::move(socket)); });
}

void http_listener::impl::on_accept(error_code error, tcp::socket socket) {
    if (!acceptor.is_open()) return;
    if (error) {
        // Mostly a lack of descriptors, which does not go away by trying at once.
        HOSTKIT_LOG(-1, "index server: cannot accept a connection: %s", error.message().c_str());
        pause.expires_after(accept_pause);
        pause.async_wait([this](error_code stopped) {
            if (!stopped && acceptor.is_open()) accept();
        });
        return;
    }
    // First, so that one connection's failure does not end the accepting.
    accept();
    take(std::move(socket));
}

void http_listener::impl::take(tcp::socket socket) {
    error_code gone;
    const tcp::endpoint peer = socket.remote_endpoint(gone);
    if (gone) return;
    connection_book::refusal why{};
    std::shared_ptr<void> ticket = book.take_place(peer.address().to_string(), settings, why);
    if (!ticket) {
        const bool all = why == connection_book::refusal::too_many;
        metrics.count_refused_connection(all ? "total" : "address");
        HOSTKIT_LOG(3, "index server: %s has too many connections, one more is closed",
                    all ? "the server" : peer.address().to_string().c_str());
        return;
    }
    std::ostringstream peer_text;
    peer_text << peer;
    const auto connection = make_connection(
        {std::move(socket), peer_text.str(), identity == nullptr ? nullptr : identity->context(), ticket}, context);
    book.enter(ticket, connection);
    connection->start();
}

http_listener::http_listener(const server_settings& settings, http_service& service, server_metrics& metrics,
                             const tls_identity* identity)
    : impl_(std::make_unique<impl>(settings, service, metrics, identity)) {}

http_listener::~http_listener() {
    stop();
}

void http_listener::start() {
    impl_->listen();
    asio::post(impl_->loops.front()->context, [this] { impl_->accept(); });
    for (auto& loop : impl_->loops)
        loop->thread = std::thread([&loop = *loop] { loop.run(); });
    impl_->is_running = true;
}

void http_listener::begin_stop() {
    impl_->context.is_stopping = true;
    impl_->book.end_all(false);
}

void http_listener::stop() {
    if (!impl_->is_running) return;
    impl_->is_running = false;
    begin_stop();
    impl_->book.wait_for_present(std::chrono::milliseconds(impl_->settings.stop_timeout_ms));
    asio::post(impl_->loops.front()->context, [this] {
        error_code ignored;
        impl_->acceptor.close(ignored);
        impl_->pause.cancel();
    });
    impl_->book.end_all(true);
    impl_->search_pool.stop();
    impl_->collect_pool.stop();
    impl_->search_pool.join();
    impl_->collect_pool.join();
    for (auto& loop : impl_->loops)
        loop->context.stop();
    for (auto& loop : impl_->loops)
        loop->thread.join();
}

unsigned short http_listener::port() const {
    return impl_->port;
}

}  // namespace index_server
