// Registration of shares over HTTP, for the admin.
#pragma once

#include <string>

#include <boost/json/object.hpp>

#include "server/http_service.h"
#include "server/share_registry.h"

namespace index_server {

/// Registers the share that the body, {"name":"..."}, names. The answer holds its ids and a new token; or, where the
/// body has the `token` of an earlier registration, that one, which then grants both.
http_reply answer_registration(const std::string& body, share_registry& shares);

/// The ids of a share, without its token.
boost::json::object share_json(const share& one);

/// A page of all shares in the order of their subclient ids. Throws bad_request.
http_reply list_shares(const std::string& query, const share_registry& shares);

}  // namespace index_server
