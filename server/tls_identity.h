// What the server shows of itself over TLS: a certificate chain and its key, exchangeable while it runs.
#pragma once

#include <memory>
#include <mutex>
#include <string>

namespace boost::asio::ssl {
class context;
}

namespace index_server {

/// Any thread may call any operation.
class tls_identity {
public:
    /// Reads both PEM files, the certificate with those between it and its root. Throws std::runtime_error with one
    /// plain sentence that names the file.
    tls_identity(std::string certificate_file, std::string key_file);

    /// Reads the files again. What throws, as the constructor does, leaves the former identity in use.
    void reload();

    /// What a new connection speaks with. Connections keep theirs over a reload.
    std::shared_ptr<boost::asio::ssl::context> context() const;

private:
    std::shared_ptr<boost::asio::ssl::context> load() const;

    const std::string certificate_file_;
    const std::string key_file_;
    mutable std::mutex mutex_;  // guards context_; a leaf
    std::shared_ptr<boost::asio::ssl::context> context_;
};

}  // namespace index_server
