// The index server as an object: what a program needs to run one, alone or beside a share host in the same process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace index_server {

class engine;

/// How a server is to run. Sizes are bytes, times milliseconds.
struct server_settings {
    std::string data_dir;                      ///< made when missing, mode 0700; one server at a time uses it
    std::string postgresql;                    ///< where the index lies, for libpq; empty: in data_dir, embedded
    std::string listen_address = "127.0.0.1";  ///< numeric IPv4 or IPv6 address
    unsigned short port = 0;                   ///< 0: any free one
    bool allow_plain_off_loopback = false;     ///< without it other machines are let in by TLS alone
    std::string tls_certificate;               ///< PEM file; with it the server speaks TLS and nothing else
    std::string tls_key;                       ///< PEM file without passphrase
    std::string metrics_token_file;            ///< holds a token that opens /metrics and nothing else; empty: none

    std::uint64_t max_collect_bytes = std::uint64_t{4} << 30;
    std::size_t max_search_bytes = std::size_t{1} << 20;
    std::size_t max_management_bytes = std::size_t{64} << 10;
    std::size_t max_header_bytes = std::size_t{16} << 10;
    std::size_t max_header_fields = 100;
    std::size_t max_connections = 256;
    std::size_t max_connections_per_address = 128;
    long idle_timeout_ms = 60000;    ///< how long a connection is kept without a request
    long header_timeout_ms = 10000;  ///< for the TLS greeting, and for a request's head from its first byte on
    long body_timeout_ms = 30000;    ///< for each started 64 KiB of a body, in either direction
    long longest_wait_ms = 60000;    ///< most that one long poll, or the close of a running transaction, takes
    long stop_timeout_ms = 5000;     ///< how long `stop` lets requests under way come to their end

    /// Opens the storage in `data_dir`; empty: the embedded engine.
    std::function<std::unique_ptr<engine>(const std::string& data_dir)> open_engine;
};

/// A registered share, and a token that grants it. The token is told here alone; the server keeps only its hash.
struct share_access {
    std::string name;
    std::int64_t subclient_id = 0;
    std::int64_t client_id = 0;
    std::int64_t folder_id = 0;
    std::string root_guid;
    std::string index_server_name;
    std::string token;
};

/// One index server. `start` and `stop` belong to one thread; the others may be called by any thread in between.
class index_server {
public:
    /// Only stores the settings.
    explicit index_server(server_settings settings);
    /// Stops.
    ~index_server();
    index_server(const index_server&) = delete;
    index_server& operator=(const index_server&) = delete;

    /// Takes the data directory, applies every collect file that a former run had spooled whole, and then listens.
    /// On return requests are answered. Throws std::runtime_error with one plain sentence; nothing runs then.
    void start();

    /// Refuses what is new, lets what is under way come to its end, and joins all threads. A collect file that is being
    /// applied is finished, however long that takes; queued ones stay spooled for the next start. Without effect when
    /// nothing runs.
    void stop();

    /// Reads certificate and key again, for the connections to come. When they are no good the former ones stay in use,
    /// with a line in the log. Without effect on a server without TLS.
    void reload_certificate();

    /// The port that is listened on; 0 before the first start.
    unsigned short port() const;
    /// "http://<address>:<port>/", or https with TLS
    std::string base_url() const;
    /// The token that grants everything; it also lies in the data directory, mode 0600. Empty unless running.
    std::string admin_token() const;

    /// Registers the share of that name, or finds it, and issues a new token for it. The name has 1 to 128 bytes of
    /// valid UTF-8 without '/' and control characters, and is neither "." nor "..". Throws std::invalid_argument for
    /// another name, std::runtime_error when the storage fails or nothing runs.
    share_access register_share(const std::string& name);

private:
    struct running;
    server_settings settings_;
    unsigned short port_ = 0;
    std::unique_ptr<running> running_;
};

}  // namespace index_server
