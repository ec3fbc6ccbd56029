// What a client sends to the server's port: however it is cut up, the service is told of the same requests, with bodies
// of the announced length and in bounds, the answers are well-formed, and the connection ends. The first byte says how
// the rest is cut up. (A head that is none may be refused in one way or another, depending on what of it is there.)
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/http.hpp>
#include <stdexcept>
#include <vector>

#include "hostkit/descriptor.h"
#include "server/http_connection.h"
#include "tests/fuzz/input.h"

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using namespace index_server;

constexpr std::uint64_t longest_body = 600;

/// What the service was told: heads, and bodies that were whole.
using told_requests = std::vector<std::string>;

class told_body : public body_target {
public:
    told_body(std::uint64_t announced, told_requests& told) : announced_(announced), told_(told) {}
    void write(const char* data, std::size_t size) override { body_.append(data, size); }
    void finish(const reply_sink& reply) override {
        require(body_.size() == announced_, "a body that goes somewhere arrives whole");
        told_.push_back(body_);
        reply({201, {}});
    }

private:
    const std::uint64_t announced_;
    told_requests& told_;
    std::string body_;
};

/// Does with a request what its path says.
class obedient_service : public http_service {
public:
    explicit obedient_service(told_requests& told) : told_(told) {}

    http_plan plan(const http_head& head) override {
        require(!head.method.empty() && !head.path.empty(), "a request has a method and a path");
        require(head.path.find('?') == std::string::npos, "a path ends before the query");
        require(!head.token || !head.token->empty(), "a token is not empty");
        told_.push_back(head.method + " " + head.path + "?" + head.query + " " + head.token.value_or("-"));
        http_plan plan;
        plan.most_body_bytes = longest_body;
        const std::uint64_t announced = head.body_bytes.value_or(0);
        if (head.path == "/t") {
            plan.target = std::make_unique<told_body>(announced, told_);
        } else if (head.path == "/r" || head.path == "/s") {
            plan.run = [this, announced](const std::string& body, const reply_sink& reply) {
                require(body.size() == announced && announced <= longest_body, "a body arrives whole and in bounds");
                told_.push_back(body);
                reply({200, body});
            };
            if (head.path == "/s") plan.is_short = [](const std::string&) { return true; };
        } else if (head.path == "/x") {
            throw std::runtime_error("no plan");
        } else {
            plan.reply = error_reply(404, head.query);
        }
        return plan;
    }

private:
    told_requests& told_;
};

void check_answers(const std::string& answers) {
    for (std::size_t at = 0; at < answers.size();) {
        http::response_parser<http::string_body> parser;
        parser.eager(true);
        boost::system::error_code error;
        at += parser.put(asio::buffer(answers.data() + at, answers.size() - at), error);
        require(!error && parser.is_done(), "an answer is whole and well-formed");
    }
}

/// One connection of a client that sends everything in pieces of that size and reads what comes.
told_requests told_by(const std::string& sent, std::size_t piece) {
    told_requests told;
    asio::io_context loop;
    server_settings settings;
    settings.max_header_bytes = 700;
    settings.max_header_fields = 8;
    obedient_service service(told);
    server_metrics metrics;
    const connection_context context{settings, service, metrics,
                                     [&](lane, std::function<void()> work) { asio::post(loop, std::move(work)); }};
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0, "sockets can be had");
    const hostkit::descriptor client(ends[0]);
    make_connection({asio::ip::tcp::socket(loop, asio::ip::tcp::v4(), ends[1]), "client", nullptr, nullptr}, context)
        ->start();

    std::string answers;
    const auto let_it_work = [&] {
        for (bool works = true; works;) {
            works = loop.poll() > 0;
            char block[4096];
            for (ssize_t count; (count = ::recv(client.get(), block, sizeof block, 0)) > 0; works = true)
                answers.append(block, static_cast<std::size_t>(count));
        }
    };
    for (std::size_t at = 0; at < sent.size() && !loop.stopped(); at += piece) {
        ::send(client.get(), sent.data() + at, std::min(piece, sent.size() - at), MSG_NOSIGNAL);
        let_it_work();
    }
    ::shutdown(client.get(), SHUT_WR);
    let_it_work();
    require(loop.stopped(), "a connection ends when its client is done");
    check_answers(answers);
    return told;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string sent = text_of(data + 1, size - 1);
    // Few enough pieces to try many inputs.
    const std::size_t piece = std::max<std::size_t>(data[0], sent.size() / 50 + 1);
    require(told_by(sent, piece) == told_by(sent, sent.size()), "how a request is cut up does not change it");
    return 0;
}
