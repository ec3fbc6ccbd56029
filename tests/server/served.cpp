// The server fixture and its clients.
#include "tests/server/served.h"

#include <cstdlib>
#include <filesystem>
#include <thread>
#include <utility>

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

raw_client::raw_client(unsigned short port) {
    stream_.expires_after(std::chrono::seconds(20));
    stream_.connect("127.0.0.1", std::to_string(port));
    EXPECT_TRUE(stream_) << stream_.error().message();
}

void raw_client::drip(const std::string& bytes) {
    for (const char byte : bytes) {
        stream_.put(byte);
        if (!stream_.flush()) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::string raw_client::read_until(const std::string& mark) {
    std::string all;
    while ((mark.empty() || !all.ends_with(mark)) && stream_.peek() != std::char_traits<char>::eof())
        all += static_cast<char>(stream_.get());
    EXPECT_NE(stream_.error(), boost::asio::error::timed_out) << "the server neither answers nor closes";
    return all;
}

served::served() {
    settings_.data_dir = scratch_ / "data";
    settings_.open_engine = [this](const std::string&) {
        return std::make_unique<knob_engine>(storage_.open(), store_);
    };
    start();
    docs_ = server_->register_share("docs");
    mail_ = server_->register_share("mail");
}

served::~served() {
    store_.let_go();
    server_.reset();
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
    return exchange({.url = hostkit::join_url(server_->base_url(), path)}, token);
}

answer served::post(const std::string& path, const std::string& token, const std::string& body) {
    return exchange({.method = "POST", .url = hostkit::join_url(server_->base_url(), path), .body = body}, token);
}

std::string served::collect_path(const share_access& to) const {
    return "/collect/transactions?subclient=" + std::to_string(to.subclient_id) +
           "&client=" + std::to_string(to.client_id) + "&job=0&type=28";
}

answer served::wait(const share_access& of, const std::string& id, long timeout_ms) {
    return get("/collect/transactions/" + id + "/wait?timeout_ms=" + std::to_string(timeout_ms), of.token);
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

void served::leave_file(const std::string& name, const std::string& content) {
    scratch_.put("data/spool/" + name, content);
}

}  // namespace index_server
