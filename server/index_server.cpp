// Puts the server together, in the order in which its parts need each other.
#include "server/index_server.h"

#include <stdexcept>
#include <utility>

#include "hostkit/log.h"
#include "server/data_directory.h"
#include "server/engine.h"
#include "server/http_listener.h"
#include "server/record_watch.h"
#include "server/routes.h"
#include "server/server_metrics.h"
#include "server/share_registry.h"
#include "server/share_removal.h"
#include "server/tls_identity.h"
#include "server/token_store.h"
#include "server/transactions.h"

namespace index_server {

namespace {

/// More than one, so that a share with a large file does not keep the others waiting.
constexpr unsigned apply_workers = 2;

std::unique_ptr<engine> open_storage(const server_settings& settings, const data_directory& directory) {
    if (settings.open_engine) return settings.open_engine(settings.data_dir);
    if (!settings.postgresql.empty()) return open_postgresql_engine(settings.postgresql, directory.server_name());
    return open_sqlite_engine(settings.data_dir);
}

std::unique_ptr<tls_identity> load_identity(const server_settings& settings) {
    if (settings.tls_certificate.empty() != settings.tls_key.empty()) {
        throw std::runtime_error("of tls_certificate and tls_key in [server] only one is set; TLS takes both");
    }
    if (settings.tls_certificate.empty()) return nullptr;
    return std::make_unique<tls_identity>(settings.tls_certificate, settings.tls_key);
}

}  // namespace

struct index_server::running {
    explicit running(const server_settings& settings)
        : identity(load_identity(settings)),
          directory(settings.data_dir),
          storage(open_storage(settings, directory)),
          admin_token(directory.admin_token()),
          tokens(*storage, admin_token,
                 settings.metrics_token_file.empty() ? "" : read_token_file(settings.metrics_token_file)),
          shares(*storage, tokens),
          collects(*storage, shares, directory.spool(), metrics),
          removal(*storage),
          watch(*storage, tokens, shares),
          front(settings, {*storage, shares, tokens, collects, removal, watch}, metrics),
          listener(settings, front, metrics, identity.get()) {}

    server_metrics metrics;
    const std::unique_ptr<tls_identity> identity;
    const data_directory directory;
    const std::unique_ptr<engine> storage;
    const std::string admin_token;
    token_store tokens;
    share_registry shares;
    transactions collects;
    share_removal removal;
    record_watch watch;
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
    fresh->removal.start();
    fresh->watch.start();
    fresh->listener.start();
    port_ = fresh->listener.port();
    running_ = std::move(fresh);
    HOSTKIT_LOG(1, "index server: listening on %s with the data of [%s]", base_url().c_str(),
                settings_.data_dir.c_str());
}

void index_server::stop() {
    if (!running_) return;
    running_->listener.begin_stop();
    // Before the front is waited for: this is what answers the long polls.
    running_->collects.stop();
    running_->removal.stop();
    running_->watch.stop();
    running_->listener.stop();
    running_.reset();
    HOSTKIT_LOG(1, "index server: stopped");
}

void index_server::reload_certificate() {
    if (!running_ || !running_->identity) return;
    try {
        running_->identity->reload();
        HOSTKIT_LOG(1, "index server: the TLS certificate was read again");
    } catch (const std::exception& failure) {
        HOSTKIT_LOG(-1, "index server: %s; the former certificate stays in use", failure.what());
    }
}

unsigned short index_server::port() const {
    return port_;
}

std::string index_server::base_url() const {
    const std::string& address = settings_.listen_address;
    const bool is_ipv6 = address.find(':') != std::string::npos;
    const std::string scheme = settings_.tls_certificate.empty() ? "http://" : "https://";
    return scheme + (is_ipv6 ? "[" + address + "]" : address) + ":" + std::to_string(port_) + "/";
}

std::string index_server::admin_token() const {
    return running_ ? running_->admin_token : std::string();
}

share_access index_server::register_share(const std::string& name) {
    if (!running_) throw std::runtime_error("the index server does not run");
    return running_->shares.register_share(name);
}

}  // namespace index_server
