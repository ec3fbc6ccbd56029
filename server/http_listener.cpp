// Accepting, worker lanes and orderly stopping of the HTTP front.
#include "server/http_listener.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
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
#include "server/http_connection.h"

namespace index_server {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr unsigned network_threads = 2;
constexpr unsigned collect_threads = 4;
constexpr std::chrono::milliseconds accept_pause{100};

/// The connections that are there. Any thread; outlives them all.
class connection_book {
public:
    /// A ticket for a new connection, which gives its place back when it goes; null when all places are taken.
    std::shared_ptr<void> take_place(std::size_t most, std::uint64_t& number) {
        const std::lock_guard lock(mutex_);
        if (places_.size() >= most) return nullptr;
        number = ++last_;
        places_[number];
        return {this, [number](connection_book* book) { book->leave(number); }};
    }

    void enter(std::uint64_t number, const std::shared_ptr<live_connection>& connection) {
        const std::lock_guard lock(mutex_);
        places_[number] = connection;
    }

    void end_all(bool now) {
        std::vector<std::shared_ptr<live_connection>> all;
        {
            const std::lock_guard lock(mutex_);
            for (const auto& place : places_)
                all.push_back(place.second.lock());
        }
        for (const auto& connection : all) {
            if (connection) connection->end(now);
        }
    }

    void wait_until_empty(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex_);
        left_.wait_for(lock, limit, [this] { return places_.empty(); });
    }

private:
    void leave(std::uint64_t number) {
        const std::lock_guard lock(mutex_);
        places_.erase(number);
        left_.notify_all();
    }

    std::mutex mutex_;  // guards places_ and last_; a leaf
    std::condition_variable left_;
    std::map<std::uint64_t, std::weak_ptr<live_connection>> places_;
    std::uint64_t last_ = 0;
};

tcp::endpoint endpoint_of(const server_settings& settings) {
    error_code malformed;
    const asio::ip::address address = asio::ip::make_address(settings.listen_address, malformed);
    if (malformed) throw std::runtime_error("[" + settings.listen_address + "] is not a numeric IP address");
    return {address, settings.port};
}

}  // namespace

void check_listen_address(const server_settings& settings) {
    if (!endpoint_of(settings).address().is_loopback() && !settings.allow_plain_off_loopback) {
        throw std::runtime_error("other machines can reach " + settings.listen_address +
                                 ", and the server would speak to them without TLS; allow that explicitly, or listen "
                                 "on 127.0.0.1");
    }
}

struct http_listener::impl {
    impl(const server_settings& the_settings, http_service& service)
        : settings(the_settings), context{the_settings, service, [this](lane where, std::function<void()> work) {
                                              asio::post(where == lane::search ? search_pool : collect_pool,
                                                         std::move(work));
                                          }} {}

    void listen();
    void accept();
    void on_accept(error_code error, tcp::socket socket);
    void run_network();

    const server_settings& settings;
    connection_book book;
    asio::io_context network;
    asio::executor_work_guard<asio::io_context::executor_type> keep_running{network.get_executor()};
    asio::strand<asio::io_context::executor_type> accepting{network.get_executor()};
    tcp::acceptor acceptor{accepting};
    asio::steady_timer pause{accepting};
    asio::thread_pool search_pool{std::max(2u, std::thread::hardware_concurrency())};
    asio::thread_pool collect_pool{collect_threads};
    connection_context context;
    std::vector<std::thread> threads;
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
    std::uint64_t number = 0;
    if (std::shared_ptr<void> ticket = book.take_place(settings.max_connections, number)) {
        const auto connection = make_connection(std::move(socket), context, std::move(ticket));
        book.enter(number, connection);
        connection->start();
    }
    accept();
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

http_listener::http_listener(const server_settings& settings, http_service& service)
    : impl_(std::make_unique<impl>(settings, service)) {}

http_listener::~http_listener() {
    stop();
}

void http_listener::start() {
    impl_->listen();
    asio::post(impl_->accepting, [this] { impl_->accept(); });
    for (unsigned i = 0; i < network_threads; ++i)
        impl_->threads.emplace_back([this] { impl_->run_network(); });
}

void http_listener::stop_accepting() {
    asio::post(impl_->accepting, [this] {
        error_code ignored;
        impl_->acceptor.close(ignored);
        impl_->pause.cancel();
        impl_->book.end_all(false);
    });
}

void http_listener::stop() {
    if (impl_->threads.empty()) return;
    stop_accepting();
    impl_->book.wait_until_empty(std::chrono::milliseconds(impl_->settings.stop_timeout_ms));
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
