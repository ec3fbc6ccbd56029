// The exchanges of everything but searches, over one small pool for the process.
#include "hostkit/http_exchange.h"

#include "hostkit/curl_exchange.h"

namespace hostkit {
namespace {

constexpr std::size_t most_idle_handles = 8;

curl_pool& process_pool() {
    static curl_pool pool(most_idle_handles);
    return pool;
}

}  // namespace

CXoError http_exchange(const http_request& request, http_answer& answer) {
    curl_handle handle = process_pool().take();
    CXoError error = exchange_on(handle.get(), request, answer);
    process_pool().give_back(std::move(handle), error.IsError());
    return error;
}

std::string join_url(const std::string& base, const std::string& path) {
    std::string url = base.substr(0, base.find_last_not_of('/') + 1);
    url += '/';
    return url.append(path, std::min(path.find_first_not_of('/'), path.size()));
}

}  // namespace hostkit
