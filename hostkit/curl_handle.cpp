// See curl_handle.h.
#include "hostkit/curl_handle.h"

#include <curl/curl.h>

#include <new>

namespace hostkit {

void curl_closer::operator()(void* handle) const noexcept {
    curl_easy_cleanup(handle);
}

curl_handle curl_pool::take() {
    {
        const std::lock_guard guard(lock_);
        if (!idle_.empty()) {
            curl_handle handle = std::move(idle_.back());
            idle_.pop_back();
            return handle;
        }
    }
    static const CURLcode prepared = curl_global_init(CURL_GLOBAL_DEFAULT);
    return curl_handle(prepared == CURLE_OK ? curl_easy_init() : nullptr);
}

void curl_pool::give_back(curl_handle handle, bool failed) {
    if (!handle || failed) return;
    const std::lock_guard guard(lock_);
    if (idle_.size() >= most_idle_) return;
    try {
        idle_.push_back(std::move(handle));
    } catch (const std::bad_alloc&) {
        // Not kept, then: it is destroyed like one too many, and the exchange that it served has still succeeded.
    }
}

}  // namespace hostkit
