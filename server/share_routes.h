// Registration of shares over HTTP, for the admin.
#pragma once

#include <string>

#include "server/http_service.h"
#include "server/share_registry.h"

namespace index_server {

/// Registers the share that the body, {"name":"..."}, names. The answer holds its ids and a new token; or, where the
/// body has the `token` of an earlier registration, that one, which then grants both.
http_reply answer_registration(const std::string& body, share_registry& shares);

/// All shares, without tokens.
http_reply list_shares(const share_registry& shares);

}  // namespace index_server
