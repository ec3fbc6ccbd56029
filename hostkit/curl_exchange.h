// One HTTP exchange on a given handle: what http_exchange and the search pool have in common.
#pragma once

#include "hostkit/curl_handle.h"
#include "hostkit/http_exchange.h"

namespace hostkit {

/// As http_exchange, on `handle`. Leaves the handle usable for the next exchange; after an error it is better
/// destroyed.
CXoError exchange_on(void* handle, const http_request& request, http_answer& answer);

}  // namespace hostkit
