// Who answers which request, and who may ask it.
#pragma once

#include <string>

#include "server/admin_routes.h"
#include "server/engine.h"
#include "server/http_service.h"
#include "server/index_server.h"
#include "server/record_watch.h"
#include "server/server_metrics.h"
#include "server/share_registry.h"
#include "server/storage_health.h"
#include "server/token_store.h"
#include "server/transactions.h"

namespace index_server {

/// The server's endpoints. All objects outlive it.
class routes : public http_service {
public:
    routes(const server_settings& settings, const admin_parts& parts, const server_metrics& metrics);

    http_plan plan(const http_head& head) override;
    /// Searches of a storage on another machine mostly wait for it.
    unsigned searches_at_once() const override { return storage_.is_embedded() ? 1 : 16; }

private:
    http_plan plan_known(const http_head& head);
    http_plan plan_health();
    http_plan plan_metrics(const grant& asker);
    http_plan plan_search(const http_head& head, const grant& asker);
    http_plan plan_management(const http_head& head, const grant& asker, const std::string& tag);
    http_plan plan_again_later(const http_head& head);
    std::string token_to_keep(const http_head& head) const;
    http_reply search(const std::string& token, const grant& asker, const std::string& body);
    http_reply manage(const std::string& token, const grant& asker, const std::string& tag, const std::string& body);

    const server_settings& settings_;
    const admin_parts parts_;
    engine& storage_;
    share_registry& shares_;
    const token_store& tokens_;
    transactions& collects_;
    record_watch& watch_;
    const server_metrics& metrics_;
    storage_health health_;
};

}  // namespace index_server
