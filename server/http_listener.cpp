// Accepting, worker lanes and orderly stopping of the HTTP front.
#include "server/http_listener.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include "hostkit/log.h"
#include "server/connection_book.h"
#include "server/http_connection.h"

namespace index_server {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

/// Network threads that never search, so that every other request is taken and answered meanwhile.
constexpr int free_network_threads = 2;
constexpr unsigned collect_threads = 4;
constexpr std::chrono::milliseconds accept_pause{100};

tcp::endpoint endpoint_of(const server_settings& settings) {
    error_code malformed;
    const asio::ip::address address = asio::ip::make_address(settings.listen_address, malformed);
    if (malformed) throw std::runtime_error("[" + settings.listen_address + "] is not a numeric IP address");
    return {address, settings.port};
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
                  [this](lane where, std::function<void()> work) { do_work(where, std::move(work)); }} {}

    void listen();
    void accept();
    void on_accept(error_code error, tcp::socket socket);
    void take(tcp::socket socket);
    void run_network();
    void do_work(lane where, std::function<void()> work);

    const server_settings& settings;
    server_metrics& metrics;
    const tls_identity* const identity;
    connection_book book;
    asio::io_context network;
    asio::executor_work_guard<asio::io_context::executor_type> keep_running{network.get_executor()};
    asio::strand<asio::io_context::executor_type> accepting{network.get_executor()};
    tcp::acceptor acceptor{accepting};
    asio::steady_timer pause{accepting};
    const int searchers = static_cast<int>(std::max(2u, std::thread::hardware_concurrency()));
    std::atomic<int> searching_in_place{0};  ///< by network threads; a stale count sends one more search to the pool
    asio::thread_pool search_pool{static_cast<unsigned>(searchers)};
    asio::thread_pool collect_pool{collect_threads};
    connection_context context;
    std::vector<std::thread> threads;
    unsigned short port = 0;
};

/// A search runs where its request was read, as long as network threads are left: going to another thread and back
/// costs more than most searches.
void http_listener::impl::do_work(lane where, std::function<void()> work) {
    if (where == lane::collect) return asio::post(collect_pool, std::move(work));
    if (searching_in_place.fetch_add(1) < searchers)
        work();
    else
        asio::post(search_pool, std::move(work));
    searching_in_place.fetch_sub(1);
}

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
    acceptor.async_accept(asio::make_strand(network),
                          asio::bind_executor(accepting, [this](error_code error, tcp::socket socket) {
                              on_accept(error, std::move(socket));
                          }));
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
    take(std::move(socket));
    accept();
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

void http_listener::impl::run_network() {
    for (;;) {
        try {
            network.run();
            return;
        } catch (const std::exception& failure) {
            HOSTKIT_LOG(-1, "index server: a connection failed: %s", failure.what());
        }
    }
}

http_listener::http_listener(const server_settings& settings, http_service& service, server_metrics& metrics,
                             const tls_identity* identity)
    : impl_(std::make_unique<impl>(settings, service, metrics, identity)) {}

http_listener::~http_listener() {
    stop();
}

void http_listener::start() {
    impl_->listen();
    asio::post(impl_->accepting, [this] { impl_->accept(); });
    for (int i = 0; i < impl_->searchers + free_network_threads; ++i)
        impl_->threads.emplace_back([this] { impl_->run_network(); });
}

void http_listener::begin_stop() {
    impl_->context.is_stopping = true;
    impl_->book.end_all(false);
}

void http_listener::stop() {
    if (impl_->threads.empty()) return;
    begin_stop();
    impl_->book.wait_for_present(std::chrono::milliseconds(impl_->settings.stop_timeout_ms));
    asio::post(impl_->accepting, [this] {
        error_code ignored;
        impl_->acceptor.close(ignored);
        impl_->pause.cancel();
    });
    impl_->book.end_all(true);
    impl_->search_pool.stop();
    impl_->collect_pool.stop();
    impl_->search_pool.join();
    impl_->collect_pool.join();
    impl_->network.stop();
    for (std::thread& thread : impl_->threads)
        thread.join();
    impl_->threads.clear();
}

unsigned short http_listener::port() const {
    return impl_->port;
}

}  // namespace index_server
