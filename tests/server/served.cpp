// The server fixture and its clients.
#include "tests/server/served.h"

#include <cstdlib>
#include <filesystem>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "hostkit/http_exchange.h"

namespace index_server {

namespace {

answer exchange(hostkit::http_request request, const std::string& token) {
    request.bearer_token = token;
    hostkit::http_answer got;
    if (hostkit::http_exchange(request, got).IsError()) return {};
    return {got.status, got.body};
}

}  // namespace

std::string answer::text(const char* field) const {
    return std::string(boost::json::parse(body).at(field).as_string());
}

long long answer::number(const char* field) const {
    return boost::json::parse(body).at(field).as_int64();
}

raw_client::raw_client(unsigned short port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{20, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to), 0);
}

raw_client::~raw_client() {
    if (socket_ >= 0) ::close(socket_);
}

raw_client::raw_client(raw_client&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}

void raw_client::send(const std::string& bytes) {
    EXPECT_EQ(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

void raw_client::end_sending() {
    ::shutdown(socket_, SHUT_WR);
}

std::string raw_client::read_until(const std::string& mark) {
    std::string all;
    char piece[4096];
    while (mark.empty() || all.find(mark) == std::string::npos) {
        const ssize_t got = ::recv(socket_, piece, sizeof piece, 0);
        EXPECT_GE(got, 0) << "the server neither answers nor closes";
        if (got <= 0) break;
        all.append(piece, static_cast<std::size_t>(got));
    }
    return all;
}

served::served() {
    char name[] = "/tmp/iif_server_test_XXXXXX";
    directory_ = ::mkdtemp(name);
    settings_.data_dir = directory_ + "/data";
    settings_.open_engine = [this](const std::string&) { return std::make_unique<memory_engine>(store_); };
    start();
    docs_ = server_->register_share("docs");
    mail_ = server_->register_share("mail");
}

served::~served() {
    store_.let_go();
    server_.reset();
    std::filesystem::remove_all(directory_);
}

void served::start() {
    server_ = std::make_unique<index_server>(settings_);
    server_->start();
}

void served::restart() {
    server_.reset();
    start();
}

answer served::get(const std::string& path, const std::string& token) {
    hostkit::http_request request;
    request.url = hostkit::join_url(server_->base_url(), path);
    return exchange(std::move(request), token);
}

answer served::post(const std::string& path, const std::string& token, const std::string& body) {
    hostkit::http_request request;
    request.method = "POST";
    request.url = hostkit::join_url(server_->base_url(), path);
    request.body = body;
    return exchange(std::move(request), token);
}

std::string served::collect_path(const share_access& to) const {
    return "/collect/transactions?subclient=" + std::to_string(to.subclient_id) +
           "&client=" + std::to_string(to.client_id) + "&job=0&type=28";
}

answer served::submit(const share_access& to, const std::string& content) {
    return post(collect_path(to), to.token, content);
}

answer served::wait(const share_access& of, const std::string& id, long timeout_ms) {
    return get("/collect/transactions/" + id + "/wait?timeout_ms=" + std::to_string(timeout_ms), of.token);
}

answer served::close(const share_access& of, const std::string& id) {
    return post("/collect/transactions/" + id + "/close", of.token, "");
}

answer served::last(const share_access& of) {
    return get("/collect/transactions/last?subclient=" + std::to_string(of.subclient_id), of.token);
}

std::string served::head(const std::string& request, const share_access& as, const std::string& more) {
    return request + " HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " + as.token + "\r\n" + more + "\r\n";
}

std::vector<std::string> served::spooled() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(settings_.data_dir + "/spool")) {
        names.push_back(entry.path().filename());
    }
    return names;
}

void served::leave_record(const std::string& id, std::int64_t subclient_id) {
    memory_engine(store_).put_transaction({id, subclient_id, App::ProcessingStatus_QUEUED, "", 1});
}

void served::leave_file(const std::string& name, const std::string& content) {
    std::ofstream(settings_.data_dir + "/spool/" + name) << content;
}

}  // namespace index_server
