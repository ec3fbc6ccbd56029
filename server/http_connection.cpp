// One client connection: reads a head, has the service plan it, moves the body, writes the answer, and again.
//
// All members are used on the connection's strand. Work runs on other threads on what was moved out of here for it,
// and comes back through a post to the strand.
#include "server/http_connection.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <utility>
#include <vector>

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "hostkit/log.h"

namespace index_server {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

constexpr std::size_t piece_bytes = std::size_t{64} << 10;
/// A refused request's body up to this size is read, so that the connection can go on.
constexpr std::uint64_t skipped_body_bytes = piece_bytes;
/// How much, and for how long, a refused longer body is taken in after the answer. Closing on unread bytes resets the
/// connection, which can destroy the answer before the client has read it.
constexpr std::size_t drained_bytes = std::size_t{8} << 20;
constexpr std::chrono::seconds drain_time{2};

/// The token of "Bearer <token>".
std::optional<std::string> bearer_token(beast::string_view value) {
    constexpr beast::string_view scheme = "Bearer ";
    if (value.size() <= scheme.size() || !beast::iequals(value.substr(0, scheme.size()), scheme)) return std::nullopt;
    return std::string(value.substr(scheme.size()));
}

class connection : public live_connection, public std::enable_shared_from_this<connection> {
public:
    connection(asio::ip::tcp::socket socket, const connection_context& context, std::shared_ptr<void> ticket)
        : ticket_(std::move(ticket)),
          context_(context),
          stream_(std::move(socket)),
          buffer_(context.settings.max_header_bytes + piece_bytes),
          piece_(piece_bytes) {}

    void start() override {
        on_strand([](connection& self) { self.read_head(); });
    }

    void end(bool now) override {
        on_strand([now](connection& self) {
            self.ending_ = true;
            if (now || self.between_requests_) self.stream_.close();
        });
    }

private:
    template <class Step>
    void on_strand(Step step) {
        asio::post(stream_.get_executor(),
                   [self = shared_from_this(), step = std::move(step)]() mutable { step(*self); });
    }

    void read_head() {
        if (ending_) return;
        parser_.emplace();
        parser_->header_limit(static_cast<std::uint32_t>(context_.settings.max_header_bytes));
        parser_->body_limit(boost::none);  // the plan knows the limit
        between_requests_ = true;
        stream_.expires_after(std::chrono::milliseconds(context_.settings.idle_timeout_ms));
        http::async_read_header(stream_, buffer_, *parser_,
                                [self = shared_from_this()](error_code error, std::size_t) { self->on_head(error); });
    }

    void on_head(error_code error) {
        between_requests_ = false;
        if (!error) {
            decide();
        } else if (error == http::error::header_limit || error == http::error::buffer_overflow) {
            refuse(error_reply(431, "the request's head is too long"));
        } else if (error.category() == http::make_error_code(http::error::bad_method).category() &&
                   error != http::error::end_of_stream && error != http::error::partial_message) {
            refuse(error_reply(400, "this is not an HTTP request"));
        }
    }

    http_head head() const {
        const auto& request = parser_->get();
        http_head result;
        result.method = std::string(request.method_string());
        const std::string target(request.target());
        const std::size_t mark = target.find('?');
        result.path = target.substr(0, mark);
        if (mark != std::string::npos) result.query = target.substr(mark + 1);
        result.token = bearer_token(request[http::field::authorization]);
        if (const auto length = parser_->content_length()) result.body_bytes = *length;
        return result;
    }

    void decide() {
        const http_head asked = head();
        // The body of an answer to HEAD would be taken for the next answer's head.
        keep_ = parser_->get().keep_alive() && parser_->get().method() != http::verb::head;
        http_plan plan;
        try {
            plan = context_.service.plan(asked);
        } catch (const std::exception& failure) {
            HOSTKIT_LOG(-1, "index server: cannot plan %s [%s]: %s", asked.method.c_str(), asked.path.c_str(),
                        failure.what());
            return refuse(error_reply(500, "internal error"));
        }
        const std::uint64_t length = asked.body_bytes.value_or(0);
        const bool expects = beast::iequals(parser_->get()[http::field::expect], "100-continue");
        if (parser_->chunked() && !plan.reply) plan.reply = error_reply(411, "Content-Length is required");
        if (!plan.reply && length > plan.most_body_bytes) plan.reply = error_reply(413, "the body is too long");
        if (plan.reply && (parser_->chunked() || expects || length > skipped_body_bytes)) {
            return refuse(std::move(*plan.reply));
        }
        early_ = std::move(plan.reply);
        target_ = std::move(plan.target);
        run_ = std::move(plan.run);
        lane_ = plan.work_lane;
        body_.clear();
        if (expects) return tell_to_continue();
        read_body();
    }

    void tell_to_continue() {
        static constexpr char line[] = "HTTP/1.1 100 Continue\r\n\r\n";
        stream_.expires_after(std::chrono::milliseconds(context_.settings.idle_timeout_ms));
        asio::async_write(stream_, asio::buffer(line, sizeof line - 1),
                          [self = shared_from_this()](error_code error, std::size_t) {
                              if (!error) self->read_body();
                          });
    }

    void read_body() {
        if (parser_->is_done()) return finish_request();
        auto& body = parser_->get().body();
        body.data = piece_.data();
        body.size = piece_.size();
        body.more = true;
        stream_.expires_after(std::chrono::milliseconds(context_.settings.idle_timeout_ms));
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](error_code error, std::size_t) { self->on_piece(error); });
    }

    void on_piece(error_code error) {
        const std::size_t size = piece_.size() - parser_->get().body().size;
        if (error && error != http::error::need_buffer) {
            target_.reset();
            return;
        }
        if (target_) return write_piece(size);
        if (run_) body_.append(piece_.data(), size);
        read_body();
    }

    /// The piece stays untouched until the worker is done with it: reading goes on only then.
    void write_piece(std::size_t size) {
        context_.post_work(lane_, [self = shared_from_this(), target = target_, size] {
            bool written = true;
            try {
                target->write(self->piece_.data(), size);
            } catch (const std::exception& failure) {
                HOSTKIT_LOG(-1, "index server: cannot take a body: %s", failure.what());
                written = false;
            }
            self->on_strand([written](connection& back) {
                if (written) return back.read_body();
                back.target_.reset();
                back.refuse(error_reply(500, "the body could not be stored"));
            });
        });
    }

    void finish_request() {
        if (early_) return respond(std::move(*std::exchange(early_, std::nullopt)));
        // The worker owns what it works on: the answer can be on its way, and the next request here, before it returns.
        if (std::shared_ptr<body_target> target = std::exchange(target_, nullptr)) {
            return post_request([target](const reply_sink& sink) { target->finish(sink); });
        }
        post_request([run = std::exchange(run_, nullptr), body = std::exchange(body_, {})](const reply_sink& sink) {
            run(body, sink);
        });
    }

    void post_request(std::function<void(const reply_sink&)> work) {
        auto answered = std::make_shared<std::atomic_flag>();  // set by whoever answers first; only that one counts
        const reply_sink sink = [self = shared_from_this(), answered](http_reply reply) {
            if (answered->test_and_set()) return;
            self->on_strand([reply = std::move(reply)](connection& back) mutable { back.respond(std::move(reply)); });
        };
        context_.post_work(lane_, [sink, work = std::move(work)] {
            try {
                work(sink);
            } catch (const std::exception& failure) {
                HOSTKIT_LOG(-1, "index server: a request failed: %s", failure.what());
                sink(error_reply(500, "internal error"));
            }
        });
    }

    /// Answers without having read the request to its end, and closes.
    void refuse(http_reply reply) {
        keep_ = false;
        respond(std::move(reply));
    }

    void respond(http_reply reply) {
        keep_ = keep_ && !ending_;
        response_ = {};
        response_.result(reply.status);
        response_.version(parser_->get().version());
        response_.set(http::field::content_type, reply.content_type);
        if (reply.status == 401) response_.set(http::field::www_authenticate, "Bearer");
        response_.keep_alive(keep_);
        response_.body() = std::move(reply.body);
        response_.prepare_payload();
        stream_.expires_after(std::chrono::milliseconds(context_.settings.idle_timeout_ms));
        http::async_write(stream_, response_, [self = shared_from_this()](error_code error, std::size_t) {
            if (error) return;
            if (self->keep_) return self->read_head();
            self->close_gently();
        });
    }

    void close_gently() {
        error_code ignored;
        stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        stream_.expires_after(drain_time);
        drain();
    }

    void drain() {
        stream_.async_read_some(asio::buffer(piece_), [self = shared_from_this()](error_code error, std::size_t size) {
            self->drained_ += size;
            if (!error && self->drained_ < drained_bytes) self->drain();
        });
    }

    // Let go of last: the listener counts this connection until then.
    const std::shared_ptr<void> ticket_;
    const connection_context& context_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    std::vector<char> piece_;
    std::optional<http::request_parser<http::buffer_body>> parser_;
    http::response<http::string_body> response_;
    bool between_requests_ = false;
    bool ending_ = false;
    bool keep_ = false;
    std::size_t drained_ = 0;

    // The request under way.
    std::optional<http_reply> early_;
    std::shared_ptr<body_target> target_;
    std::function<void(const std::string&, const reply_sink&)> run_;
    lane lane_ = lane::search;
    std::string body_;
};

}  // namespace

std::shared_ptr<live_connection> make_connection(asio::ip::tcp::socket socket, const connection_context& context,
                                                 std::shared_ptr<void> ticket) {
    error_code ignored;  // without it small answers only travel later
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    return std::make_shared<connection>(std::move(socket), context, std::move(ticket));
}

}  // namespace index_server
