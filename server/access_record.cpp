// Counting and logging of requests.
#include "server/access_record.h"

#include "hostkit/log.h"

namespace index_server {

namespace {

constexpr int longest_logged_path = 200;

}  // namespace

void access_record::close(const std::string& peer, server_metrics& metrics) const {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
    metrics.count_request(route, status, seconds, received_bytes, sent_bytes);
    HOSTKIT_LOG(3, "request peer=%s method=%s path=%.*s route=%s status=%u received=%llu sent=%llu ms=%.3f",
                peer.c_str(), method.c_str(), longest_logged_path, path.c_str(), route, status,
                static_cast<unsigned long long>(received_bytes), static_cast<unsigned long long>(sent_bytes),
                seconds * 1000);
}

}  // namespace index_server
