// The administrator's JSON API, below /api.
#pragma once

#include <cstddef>

#include "server/engine.h"
#include "server/http_service.h"
#include "server/record_watch.h"
#include "server/share_registry.h"
#include "server/share_removal.h"
#include "server/token_store.h"
#include "server/transactions.h"

namespace index_server {

/// What the API acts on. All of it outlives the plans.
struct admin_parts {
    engine& storage;
    share_registry& shares;
    token_store& tokens;
    transactions& collects;
    share_removal& removal;
    record_watch& watch;
};

/// The plan for a request whose path begins with "/api/". Only the admin token opens anything here.
http_plan plan_admin(const http_head& head, const grant& asker, const admin_parts& parts, std::size_t most_body_bytes);

}  // namespace index_server
