// The account of one request, for the log and the metrics.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "server/server_metrics.h"

namespace index_server {

/// Made when the request's first byte is there, and filled while it goes through; belongs to its connection.
class access_record {
public:
    std::string method = "-";
    std::string path = "-";  ///< without the query
    const char* route = "unread";
    unsigned status = 0;
    std::uint64_t received_bytes = 0;
    std::uint64_t sent_bytes = 0;

    /// The answer has gone out: counts it, and writes a line at log level 3. Neither tells tokens or contents.
    void close(const std::string& peer, server_metrics& metrics) const;

private:
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

}  // namespace index_server
