// One byte stream for both kinds of connection: plain TCP, or TLS over it.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/tcp_stream.hpp>

namespace index_server {

/// An asynchronous stream as Asio defines it. Time limits are set on `transport`, and bound what runs over TLS alike.
class http_stream {
public:
    using executor_type = boost::beast::tcp_stream::executor_type;

    /// Without `tls` the connection is plain.
    http_stream(boost::asio::ip::tcp::socket socket, std::shared_ptr<boost::asio::ssl::context> tls)
        : context_(std::move(tls)), transport_(std::move(socket)) {
        if (context_) tls_.emplace(transport_, *context_);
    }

    executor_type get_executor() { return transport_.get_executor(); }
    boost::beast::tcp_stream& transport() { return transport_; }
    bool is_tls() const { return tls_.has_value(); }

    template <class Buffers, class Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        if (tls_) {
            tls_->async_read_some(buffers, std::forward<Handler>(handler));
        } else {
            transport_.async_read_some(buffers, std::forward<Handler>(handler));
        }
    }

    template <class Buffers, class Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (tls_) {
            tls_->async_write_some(buffers, std::forward<Handler>(handler));
        } else {
            transport_.async_write_some(buffers, std::forward<Handler>(handler));
        }
    }

    /// The TLS greeting, and its end; each only where `is_tls`.
    template <class Handler>
    void async_handshake(Handler&& handler) {
        tls_->async_handshake(boost::asio::ssl::stream_base::server, std::forward<Handler>(handler));
    }
    template <class Handler>
    void async_shutdown(Handler&& handler) {
        tls_->async_shutdown(std::forward<Handler>(handler));
    }

private:
    std::shared_ptr<boost::asio::ssl::context> context_;  // a reload must not take it from under the stream
    boost::beast::tcp_stream transport_;
    std::optional<boost::asio::ssl::stream<boost::beast::tcp_stream&>> tls_;
};

}  // namespace index_server
