// The three management exchanges, by which a client finds its index and its share's folder in it.
#pragma once

#include <string>

#include "server/http_service.h"
#include "server/share_registry.h"
#include "server/token_store.h"

namespace index_server {

/// True when a request kind of that tag, in decimal text, exists.
bool is_management_tag(const std::string& tag);

/// Answers one exchange: 200 with a message, 400 for a text that is no such message, 403 when it asks for a share that
/// the token does not grant. What nobody knows is answered with an empty list.
http_reply answer_management(const std::string& tag, const std::string& body, const grant& asker,
                             const share_registry& shares);

}  // namespace index_server
