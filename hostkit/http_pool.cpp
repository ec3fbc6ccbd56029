// The search exchange: the pool of handles that the library keeps for each of its objects, and one POST on one of them.
#include "host/http.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>

#include "hostkit/curl_exchange.h"
#include "hostkit/log.h"
#include "hostkit/message_text.h"

class CurlWrapperCacheNode {
public:
    explicit CurlWrapperCacheNode(hostkit::curl_handle taken) : handle(std::move(taken)) {}

    hostkit::curl_handle handle;
};

struct CurlWrapperCache::Impl {
    hostkit::curl_pool pool;
};

CurlWrapperCache::CurlWrapperCache(long most_idle)
    : impl_(new Impl{hostkit::curl_pool(static_cast<std::size_t>(std::max(most_idle, 0L)))}) {}

CurlWrapperCache::~CurlWrapperCache() = default;

CurlWrapperCacheNode* CurlWrapperCache::PopCurlWrapper() {
    hostkit::curl_handle handle = impl_->pool.take();
    return handle ? new (std::nothrow) CurlWrapperCacheNode(std::move(handle)) : nullptr;
}

void CurlWrapperCache::PutCurlWrapper(CurlWrapperCacheNode* node, bool failed) {
    if (node == nullptr) return;
    impl_->pool.give_back(std::move(node->handle), failed);
    delete node;
}

namespace {

/// Whether a body is one whole element of a search answer. A gateway may put a page of its own in front of the service
/// and call it a success, and what cannot be understood as an answer would read as a directory without entries. So
/// would one that is longer than messages may be.
bool is_search_answer(std::string_view body) {
    constexpr std::string_view open = "<ZYSearchResp";
    if (!body.starts_with(open) || body.size() == open.size()) return false;
    const bool named_so = std::string_view(" />").find(body[open.size()]) != std::string_view::npos;
    if (!named_so || body.size() > hostkit::message_text_limits::bytes) return false;
    return body.ends_with("</ZYSearchResp>") || (body.ends_with("/>") && body.find('>') + 1 == body.size());
}

int exchange_search(CurlWrapperCacheNode* node, const std::string& url, std::string& request, std::string& response) {
    hostkit::http_request post;
    post.method = "POST";
    post.url = url;
    post.content_type = "application/xml";
    post.body.swap(request);
    hostkit::http_answer answer;
    const CXoError error = hostkit::exchange_on(node == nullptr ? nullptr : node->handle.get(), post, answer);
    request.swap(post.body);
    if (error.IsError()) {
        HOSTKIT_LOG(-1, "search exchange failed: %s", error.AsString().c_str());
        return -FXErrorUtil::GetErrNo(error);
    }
    if (answer.status != 200) {
        HOSTKIT_LOG(-1, "the search service answered with status %ld", answer.status);
        return -static_cast<int>(answer.status);
    }
    if (!is_search_answer(answer.body)) {
        HOSTKIT_LOG(-1, "the search service answered with something that is no search answer");
        return -EBADMSG;
    }
    response = std::move(answer.body);
    return 0;
}

}  // namespace

int GetCurlResponse2(CurlWrapperCacheNode* node, std::string& url, std::string& request, std::string&,
                     std::string& response) {
    response.clear();
    try {
        return exchange_search(node, url, request, response);
    } catch (const std::bad_alloc&) {
        return -ENOMEM;  // and not past the caller, who has a node to give back
    }
}
