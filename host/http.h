// HTTP exchanges with the search service, over a pool of reusable handles.
#pragma once

#include <memory>
#include <string>

#include "host/visibility.h"

/// One HTTP handle; the library only passes it along.
class CurlWrapperCacheNode;

/// A pool of HTTP handles. Any thread.
class IIF_HOST_API CurlWrapperCache {
public:
    /// `most_idle` is the number of handles that the pool keeps while they are not in use.
    explicit CurlWrapperCache(long most_idle);
    ~CurlWrapperCache();
    CurlWrapperCache(const CurlWrapperCache&) = delete;
    CurlWrapperCache& operator=(const CurlWrapperCache&) = delete;

    /// A handle, new or reused, that now belongs to the caller; null when none can be had.
    CurlWrapperCacheNode* PopCurlWrapper();

    /// Takes a handle back. `failed` says that its exchange failed, so its connection is not to be reused.
    void PutCurlWrapper(CurlWrapperCacheNode* node, bool failed);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// Posts `request` to `url` and assigns the body of the answer to `response`. Zero or more when the status was 200
/// and the body, a search answer, arrived whole; a negative number otherwise, with `response` left empty. `extra` is
/// not used.
IIF_HOST_API int GetCurlResponse2(CurlWrapperCacheNode* node, std::string& url, std::string& request,
                                  std::string& extra, std::string& response);

/// Client side of asynchronous browses. The library only makes and destroys one.
class IIF_HOST_API IdxBrowseClientCache {
public:
    IdxBrowseClientCache();
    ~IdxBrowseClientCache();  // NOLINT(performance-trivially-destructible): what there is to destroy is the host's
    IdxBrowseClientCache(const IdxBrowseClientCache&) = delete;
    IdxBrowseClientCache& operator=(const IdxBrowseClientCache&) = delete;
};
