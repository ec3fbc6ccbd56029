// The search transport: carries a finished request to the index server and turns the answer into records. No lock is
// held here, so a slow server holds up nobody but the query.
#include <cerrno>

#include "core/allocation.h"
#include "core/index_iface.h"
#include "core/log_line.h"
#include "query/message_access.h"
#include "query/search_transport.h"

namespace search = message_fields;

int RunHTTPQuery(CurlWrapperCache* pool, std::string& url, std::string& request, std::string& extra,
                 std::string& response) {
    int ret = -1;
    for (bool retry_left = true;; retry_left = false) {
        CurlWrapperCacheNode* node = pool->PopCurlWrapper();
        if (node == nullptr) {
            IIF_LOG_ERROR("INDEX_IFACE: Error: Failed to allocate ZYCurlWrapper object.");
            return ret;
        }
        IIF_LOG(7, "INDEX_IFACE: Debug: Reusing old curlwrapper object.");
        ret = GetCurlResponse2(node, url, request, extra, response);
        pool->PutCurlWrapper(node, ret < 0);
        if (ret >= 0) {
            return 0;
        }
        IIF_LOG_ERROR("INDEX_IFACE: Error: GetCurlResponse failed, ret [%d].", ret);
        if (!retry_left) {
            return ret;
        }
    }
}

int index_iface_is_zysearch_error(KT5ContentIndexing::ZYSearchResp& response) {
    auto errors = list_to_read<KT5ContentIndexing::Error>(response, search::ZYSearchResp::errors);
    for (const KT5ContentIndexing::Error& error : *errors) {
        IIF_LOG_ERROR("INDEX_IFACE: curl response error code: %d [%s]",
                      static_cast<int>(error.getint64(search::Error::errorCode.number)),
                      text_of(error, search::Error::errorMessage).c_str());
    }
    return errors->empty() ? 0 : EIO;
}

// 0, or a negative number.
int index_iface::exchange_zysearch(KT5ContentIndexing::ZYSearchReq& request, std::string& response_text) {
    std::string request_text;
    request.serialize(request_text, false);
    IIF_LOG(7, "INDEX_IFACE: curl request [%s]", request_text.c_str());
    std::string extra;
    const int ret = RunHTTPQuery(curl_cache, webserver_url, request_text, extra, response_text);
    if (ret < 0) {
        return ret;
    }
    IIF_LOG(7, "INDEX_IFACE: curl response [%s]", response_text.c_str());
    return 0;
}

// Only the first item is looked at; one that extraction rejects is an object that is not there.
int index_iface::find_common_zysearch(KT5ContentIndexing::ZYSearchReq& request, index_iface_props& result, int& count,
                                      bool is_extent, const index_iface_browse_fields& fields,
                                      index_iface_time_t real_before_time, bool ignore_deleted) {
    std::string response_text;
    int ret = exchange_zysearch(request, response_text);
    if (ret < 0) {
        return ret;
    }
    KT5ContentIndexing::ZYSearchResp response;
    if (response.unserialize(response_text) != 0) {
        const int reported = index_iface_is_zysearch_error(response);
        IIF_LOG_ERROR("INDEX_IFACE: Failed to unserialize curl response [%d]", reported);
        return EIO;
    }
    ret = index_iface_is_zysearch_error(response);
    if (ret != 0) {
        return ret;
    }
    count = 0;
    auto result_set = child_to_read(response, search::ZYSearchResp::resultSet);
    auto items = list_to_read<KT5ContentIndexing::GResultItem>(*result_set, search::GResultSet::resultItems);
    if (!items->empty()) {
        ret = extract_results_zysearch(items->begin(), result, is_extent, fields, real_before_time, ignore_deleted);
        if (ret == 0) {
            count = 1;
        }
    }
    return ret == 0 && count == 0 ? ENOENT : ret;
}

// `count` is what the server sent, not what was kept: a rejected item must not end the paging.
int index_iface::browse_common_zysearch(KT5ContentIndexing::ZYSearchReq& request, props_list& results, int& count,
                                        bool is_extent, const index_iface_browse_fields& fields,
                                        index_iface_time_t real_before_time, bool ignore_deleted) {
    std::string response_text;
    int ret = exchange_zysearch(request, response_text);
    if (ret < 0) {
        return ret;
    }
    KT5ContentIndexing::ZYSearchResp response;
    static_cast<void>(response.unserialize(response_text));  // a text that cannot be parsed is a page without results
    ret = index_iface_is_zysearch_error(response);
    if (ret != 0) {
        return ret;
    }
    count = 0;
    auto result_set = child_to_read(response, search::ZYSearchResp::resultSet);
    auto items = list_to_read<KT5ContentIndexing::GResultItem>(*result_set, search::GResultSet::resultItems);
    for (auto item = items->begin(); item != items->end(); ++item) {
        std::unique_ptr<index_iface_props> props(make_or_null<index_iface_props>());
        if (!props) {
            IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate index_iface_props.");
            return ENOMEM;
        }
        if (extract_results_zysearch(item, *props, is_extent, fields, real_before_time, ignore_deleted) == 0) {
            results.push_back(props.get());
            static_cast<void>(props.release());  // the list owns it
        }
        ++count;
    }
    return 0;
}
