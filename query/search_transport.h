// One exchange with the index server.
#pragma once

#include <string>

#include "host/http.h"
#include "host/message_classes.h"

/// Sends `request` and assigns the answer's body to `response`, with one retry and no wait before it. 0, or the
/// negative number of the last attempt. Any thread.
int RunHTTPQuery(CurlWrapperCache* pool, std::string& url, std::string& request, std::string& extra,
                 std::string& response);

/// 0, or EIO when the server reported errors, which it logs.
int index_iface_is_zysearch_error(KT5ContentIndexing::ZYSearchResp& response);
