// Puts the server together, in the order in which its parts need each other.
#include "server/index_server.h"

#include <stdexcept>
#include <utility>

#include "hostkit/log.h"
#include "server/data_directory.h"
#include "server/engine.h"
#include "server/http_listener.h"
#include "server/routes.h"
#include "server/share_registry.h"
#include "server/token_store.h"
#include "server/transactions.h"

namespace index_server {

namespace {

/// More than one, so that a share with a large file does not keep the others waiting.
constexpr unsigned apply_workers = 2;

std::unique_ptr<engine> open_storage(const server_settings& settings) {
    return settings.open_engine ? settings.open_engine(settings.data_dir) : open_sqlite_engine(settings.data_dir);
}

}  // namespace

struct index_server::running {
    explicit running(const server_settings& settings)
        : directory(settings.data_dir),
          storage(open_storage(settings)),
          admin_token(directory.admin_token()),
          tokens(*storage, admin_token),
          shares(*storage, tokens),
          collects(*storage, shares, directory.spool()),
          front(settings, *storage, shares, tokens, collects),
          listener(settings, front) {}

    const data_directory directory;
    const std::unique_ptr<engine> storage;
    const std::string admin_token;
    token_store tokens;
    share_registry shares;
    transactions collects;
    routes front;
    http_listener listener;
};

index_server::index_server(server_settings settings) : settings_(std::move(settings)) {}

index_server::~index_server() {
    stop();
}

void index_server::start() {
    if (running_) throw std::runtime_error("the index server runs already");
    check_listen_address(settings_);
    auto fresh = std::make_unique<running>(settings_);
    fresh->collects.recover();
    fresh->collects.start(apply_workers);
    fresh->listener.start();
    port_ = fresh->listener.port();
    running_ = std::move(fresh);
    HOSTKIT_LOG(1, "index server: listening on %s with the data of [%s]", base_url().c_str(),
                settings_.data_dir.c_str());
}

void index_server::stop() {
    if (!running_) return;
    running_->listener.stop_accepting();
    // Before the front is waited for: this is what answers the long polls.
    running_->collects.stop();
    running_->listener.stop();
    running_.reset();
    HOSTKIT_LOG(1, "index server: stopped");
}

unsigned short index_server::port() const {
    return port_;
}

std::string index_server::base_url() const {
    const std::string& address = settings_.listen_address;
    const bool is_ipv6 = address.find(':') != std::string::npos;
    return "http://" + (is_ipv6 ? "[" + address + "]" : address) + ":" + std::to_string(port_) + "/";
}

std::string index_server::admin_token() const {
    return running_ ? running_->admin_token : std::string();
}

share_access index_server::register_share(const std::string& name) {
    if (!running_) throw std::runtime_error("the index server does not run");
    return running_->shares.register_share(name);
}

}  // namespace index_server
