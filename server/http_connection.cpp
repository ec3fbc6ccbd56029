// One client connection: reads a head, has the service plan it, moves the body, writes the answer, and again.
//
//   idle --first byte--> head --planned--> body --whole--> work --answered--> answer --kept--> idle
//                                                                                `--not kept--> leaving
//
// Each state has a time limit of its own but work, which the service bounds. All members are used on the connection's
// loop. Work runs on other threads on what was moved out of here for it, and comes back through a post to the loop;
// what is short is done in place.
#include "server/http_connection.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <utility>
#include <vector>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "hostkit/log.h"
#include "server/access_record.h"
#include "server/http_head.h"
#include "server/http_stream.h"
#include "server/storage_unavailable.h"

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

class connection : public live_connection, public std::enable_shared_from_this<connection> {
public:
    connection(accepted_connection accepted, const connection_context& context)
        : ticket_(std::move(accepted.ticket)),
          context_(context),
          peer_(std::move(accepted.peer)),
          stream_(std::move(accepted.socket), std::move(accepted.tls)),
          buffer_(context.settings.max_header_bytes + piece_bytes),
          piece_(piece_bytes) {
        context_.metrics.connection_begins();
    }

    ~connection() override { context_.metrics.connection_ends(); }

    void start() override {
        on_loop([](connection& self) { self.stream_.is_tls() ? self.greet() : self.wait_for_request(); });
    }

    void end(bool now) override {
        on_loop([now](connection& self) {
            if (now || self.is_idle_) self.stream_.transport().close();
        });
    }

private:
    template <class Step>
    void on_loop(Step step) {
        asio::dispatch(stream_.get_executor(),
                       [self = shared_from_this(), step = std::move(step)]() mutable { step(*self); });
    }

    void allow(long limit_ms) { stream_.transport().expires_after(std::chrono::milliseconds(limit_ms)); }
    /// For a body of that size: a peer that takes or gives it more slowly is cut off.
    void allow_body(std::size_t bytes) {
        allow(context_.settings.body_timeout_ms * (1 + static_cast<long>(bytes / piece_bytes)));
    }

    void greet() {
        allow(context_.settings.header_timeout_ms);
        stream_.async_handshake([self = shared_from_this()](error_code error) {
            if (!error) return self->wait_for_request();
            self->context_.metrics.count_refused_connection("tls");
            HOSTKIT_LOG(3, "index server: no TLS with %s: %s", self->peer_.c_str(), error.message().c_str());
        });
    }

    void wait_for_request() {
        if (buffer_.size() > 0) return read_head();
        is_idle_ = true;
        allow(context_.settings.idle_timeout_ms);
        stream_.async_read_some(buffer_.prepare(piece_bytes),
                                [self = shared_from_this()](error_code error, std::size_t size) {
                                    self->is_idle_ = false;
                                    self->buffer_.commit(size);
                                    if (!error) self->read_head();
                                });
    }

    void read_head() {
        record_ = access_record();
        parser_.emplace();
        parser_->header_limit(static_cast<std::uint32_t>(context_.settings.max_header_bytes));
        parser_->body_limit(boost::none);  // the plan knows the limit
        parser_->eager(false);             // the body waits for its plan
        const error_code error = parse_buffered();
        if (error || parser_->is_header_done()) return on_head(error);
        // One limit for the whole head, however the peer cuts it up.
        allow(context_.settings.header_timeout_ms);
        http::async_read_header(stream_, buffer_, *parser_,
                                [self = shared_from_this()](error_code error, std::size_t) { self->on_head(error); });
    }

    /// Parses what has been read already. Most requests are there whole by now, and to ask the loop for them would cost
    /// as much as a short search.
    error_code parse_buffered() {
        error_code error;
        if (buffer_.size() > 0) buffer_.consume(parser_->put(buffer_.data(), error));
        return error == http::error::need_more ? error_code() : error;
    }

    void on_head(error_code error) {
        if (!error) {
            decide();
        } else if (error == http::error::header_limit || error == http::error::buffer_overflow) {
            refuse(error_reply(431, "the request's head is too long"));
        } else if (error.category() == http::make_error_code(http::error::bad_method).category() &&
                   error != http::error::end_of_stream && error != http::error::partial_message) {
            refuse(error_reply(400, "this is not an HTTP request"));
        }
    }

    http_plan make_plan(const http_head& asked) {
        http_plan plan;
        if (has_more_fields(*parser_, context_.settings.max_header_fields)) {
            plan.reply = error_reply(431, "the request's head has too many fields");
        } else if (context_.is_stopping) {
            plan.reply = error_reply(503, "the server is stopping");
            keep_ = false;
        } else {
            plan = context_.service.plan(asked);
        }
        return plan;
    }

    void decide() {
        const http_head asked = head_of(*parser_);
        record_.method = asked.method;
        record_.path = asked.path;
        // The body of an answer to HEAD would be taken for the next answer's head.
        keep_ = parser_->get().keep_alive() && parser_->get().method() != http::verb::head;
        make_and_follow([&] { return make_plan(asked); });
    }

    template <class Make>
    void make_and_follow(const Make& make) {
        http_plan plan;
        try {
            plan = make();
        } catch (const std::exception& failure) {
            HOSTKIT_LOG(-1, "index server: cannot plan %s [%s]: %s", record_.method.c_str(), record_.path.c_str(),
                        failure.what());
            return refuse(error_reply(500, "internal error"));
        }
        if (!plan.later) return follow(std::move(plan));
        plan.later([self = shared_from_this()](http_plan::maker later) {
            self->on_loop([later = std::move(later)](connection& back) { back.make_and_follow(later); });
        });
    }

    void follow(http_plan plan) {
        record_.route = plan.route;
        const std::uint64_t length = parser_->content_length().value_or(0);
        const bool expects = beast::iequals(parser_->get()[http::field::expect], "100-continue");
        // Whatever the coding: its body, taken for none, would be read as the next request.
        const bool is_coded = parser_->get().count(http::field::transfer_encoding) != 0;
        if (is_coded && !plan.reply) plan.reply = error_reply(411, "Content-Length is required");
        if (!plan.reply && length > plan.most_body_bytes) plan.reply = error_reply(413, "the body is too long");
        if (plan.reply && (is_coded || expects || length > skipped_body_bytes)) {
            return refuse(std::move(*plan.reply));
        }
        early_ = std::move(plan.reply);
        target_ = std::move(plan.target);
        run_ = std::move(plan.run);
        is_short_ = std::move(plan.is_short);
        lane_ = plan.work_lane;
        body_.clear();
        if (expects) return tell_to_continue();
        read_body();
    }

    void tell_to_continue() {
        static constexpr char line[] = "HTTP/1.1 100 Continue\r\n\r\n";
        allow_body(0);
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
        parser_->eager(true);
        const error_code error = parse_buffered();
        if (error || parser_->is_done() || body.size == 0) return on_piece(error);
        allow_body(0);
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](error_code error, std::size_t) { self->on_piece(error); });
    }

    void on_piece(error_code error) {
        const std::size_t size = piece_.size() - parser_->get().body().size;
        record_.received_bytes += size;
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
            self->on_loop([written](connection& back) {
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
        const bool at_once = is_short_ && is_short_(body_);
        post_request([run = std::exchange(run_, nullptr),
                      body = std::exchange(body_, {})](const reply_sink& sink) { run(body, sink); },
                     at_once);
    }

    void post_request(std::function<void(const reply_sink&)> work, bool at_once = false) {
        auto answered = std::make_shared<std::atomic_flag>();  // set by whoever answers first; only that one counts
        const reply_sink sink = [self = shared_from_this(), answered](http_reply reply) {
            if (answered->test_and_set()) return;
            self->on_loop([reply = std::move(reply)](connection& back) mutable { back.respond(std::move(reply)); });
        };
        const auto guarded = [sink, work = std::move(work)] {
            try {
                work(sink);
            } catch (const storage_unavailable& away) {
                HOSTKIT_LOG(-1, "index server: a request found no storage: %s", away.what());
                sink(error_reply(503, "the storage cannot be reached; try again later"));
            } catch (const std::exception& failure) {
                HOSTKIT_LOG(-1, "index server: a request failed: %s", failure.what());
                sink(error_reply(500, "internal error"));
            }
        };
        if (at_once)
            guarded();
        else
            context_.post_work(lane_, guarded);
    }

    /// Answers without having read the request to its end, and closes.
    void refuse(http_reply reply) {
        keep_ = false;
        respond(std::move(reply));
    }

    void respond(http_reply reply) {
        keep_ = keep_ && !context_.is_stopping;
        record_.status = reply.status;
        record_.sent_bytes = reply.body.size();
        response_ = {};
        response_.result(reply.status);
        response_.version(parser_->get().version());
        response_.set(http::field::content_type, reply.content_type);
        if (reply.status == 401) response_.set(http::field::www_authenticate, "Bearer");
        if (reply.status == 503) response_.set(http::field::retry_after, "1");
        response_.keep_alive(keep_);
        response_.body() = std::move(reply.body);
        response_.prepare_payload();
        allow_body(response_.body().size());
        http::async_write(stream_, response_, [self = shared_from_this()](error_code error, std::size_t) {
            self->record_.close(self->peer_, self->context_.metrics);
            // Given back now: the connection may be idle from here on, and there are many.
            std::string().swap(self->response_.body());
            if (error) return;
            if (self->keep_ && !self->context_.is_stopping) return self->wait_for_request();
            self->leave();
        });
    }

    /// Takes leave so that the answer arrives: whatever the peer still sends is taken in for a while.
    void leave() {
        stream_.transport().expires_after(drain_time);
        if (!stream_.is_tls()) return drain();
        // A body under way stands between the peer's end of TLS and here, so this may fail.
        stream_.async_shutdown([self = shared_from_this()](error_code) { self->drain(); });
    }

    void drain() {
        error_code ignored;
        stream_.transport().socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        read_away();
    }

    void read_away() {
        stream_.transport().async_read_some(asio::buffer(piece_),
                                            [self = shared_from_this()](error_code error, std::size_t size) {
                                                self->drained_ += size;
                                                if (!error && self->drained_ < drained_bytes) self->read_away();
                                            });
    }

    // Let go of last: the listener counts this connection until then.
    const std::shared_ptr<void> ticket_;
    const connection_context& context_;
    const std::string peer_;
    http_stream stream_;
    beast::flat_buffer buffer_;
    std::vector<char> piece_;
    std::optional<request_parser> parser_;
    http::response<http::string_body> response_;
    bool is_idle_ = false;
    bool keep_ = false;
    std::size_t drained_ = 0;

    // The request under way.
    access_record record_;
    std::optional<http_reply> early_;
    std::shared_ptr<body_target> target_;
    std::function<void(const std::string&, const reply_sink&)> run_;
    std::function<bool(const std::string&)> is_short_;
    lane lane_ = lane::search;
    std::string body_;
};

}  // namespace

std::shared_ptr<live_connection> make_connection(accepted_connection accepted, const connection_context& context) {
    error_code ignored;  // without it small answers only travel later
    accepted.socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    return std::make_shared<connection>(std::move(accepted), context);
}

}  // namespace index_server
