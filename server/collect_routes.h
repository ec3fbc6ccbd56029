// The endpoints below /collect/transactions.
#pragma once

#include <string>

#include "server/http_service.h"
#include "server/index_server.h"
#include "server/share_registry.h"
#include "server/token_store.h"
#include "server/transactions.h"

namespace index_server {

/// Plans a request whose path goes on with `rest` after "/collect/transactions". All objects outlive the plan.
http_plan plan_collect(const http_head& head, const std::string& rest, const grant& asker,
                       const server_settings& settings, const share_registry& shares, transactions& collects);

}  // namespace index_server
