// A running index server, and clients that talk to it over real sockets.
#pragma once

#include <future>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/ip/tcp.hpp>
#include <boost/json.hpp>

#include "server/index_server.h"
#include "tests/server/knob_engine.h"
#include "tests/storage/test_storage.h"
#include "tests/support/scratch_directory.h"

namespace index_server {

struct answer {
    long status = 0;  ///< 0 when no whole answer came
    std::string body;
    std::string text(const char* field) const;  ///< a field of a JSON body
    long long number(const char* field) const;
};

/// Bytes on a plain connection, for what no HTTP client would send.
class raw_client {
public:
    explicit raw_client(unsigned short port);
    void send(const std::string& bytes) { stream_ << bytes << std::flush; }
    /// Sends byte by byte with pauses, until all is gone or the server has closed.
    void drip(const std::string& bytes);
    void end_sending() { stream_.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send); }
    /// All that arrives until `mark` is among it, or the server closes.
    std::string read_until(const std::string& mark);
    std::string read_to_end() { return read_until(""); }

private:
    boost::asio::ip::tcp::iostream stream_;
};

/// The fixture: a fresh data directory, two shares, and verbs.
class served : public testing::Test {
protected:
    served();
    ~served() override;

    void start();
    void restart();

    answer get(const std::string& path, const std::string& token);
    answer post(const std::string& path, const std::string& token, const std::string& body);
    answer submit(const share_access& to, const std::string& content) {
        return post(collect_path(to), to.token, content);
    }
    answer wait(const share_access& of, const std::string& id, long timeout_ms = 30000);
    answer close(const share_access& of, const std::string& id) {
        return post("/collect/transactions/" + id + "/close", of.token, "");
    }
    answer last(const share_access& of);
    /// A head with a token, as text.
    std::string head(const std::string& request, const share_access& as, const std::string& more);
    std::string collect_path(const share_access& to) const;
    std::vector<std::string> spooled() const;
    /// Leaves what a killed server leaves: a file of that name in the spool.
    void leave_file(const std::string& name, const std::string& content);
    /// The engine of a server that does not run.
    std::unique_ptr<engine> stored() const { return storage_.open(); }

    const scratch_directory scratch_;
    const test_storage storage_{scratch_ / "data"};
    engine_knobs store_;
    server_settings settings_;
    std::unique_ptr<index_server> server_;
    share_access docs_;
    share_access mail_;
};

}  // namespace index_server
