// Loading of certificate and key.
#include "server/tls_identity.h"

#include <stdexcept>
#include <utility>

#include <openssl/ssl.h>
#include <boost/asio/ssl/context.hpp>

namespace index_server {

namespace ssl = boost::asio::ssl;
using boost::system::error_code;

tls_identity::tls_identity(std::string certificate_file, std::string key_file)
    : certificate_file_(std::move(certificate_file)), key_file_(std::move(key_file)), context_(load()) {}

void tls_identity::reload() {
    std::shared_ptr<ssl::context> fresh = load();
    const std::lock_guard lock(mutex_);
    context_.swap(fresh);
}

std::shared_ptr<ssl::context> tls_identity::context() const {
    const std::lock_guard lock(mutex_);
    return context_;
}

std::shared_ptr<ssl::context> tls_identity::load() const {
    auto made = std::make_shared<ssl::context>(ssl::context::tls_server);
    SSL_CTX* native = made->native_handle();
    if (SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION) != 1) {
        throw std::runtime_error("TLS 1.2 is not available");
    }
    SSL_CTX_set_options(native, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    // A key with a passphrase fails to load; without this OpenSSL would ask a terminal that nobody sits at.
    made->set_password_callback([](std::size_t, ssl::context::password_purpose) { return std::string(); });
    error_code failure;
    made->use_certificate_chain_file(certificate_file_, failure);
    if (failure) {
        throw std::runtime_error("cannot use the TLS certificate " + certificate_file_ + ": " + failure.message());
    }
    // This finds a key that belongs to another certificate, too.
    made->use_private_key_file(key_file_, ssl::context::pem, failure);
    if (failure) throw std::runtime_error("cannot use the TLS key " + key_file_ + ": " + failure.message());
    return made;
}

}  // namespace index_server
