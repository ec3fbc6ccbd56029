// What the JSON API answers: each reads its request, does the work and tells the outcome. They block on the storage and
// throw bad_request, std::invalid_argument and backup_refused for what is refused.
#pragma once

#include <string>

#include "server/admin_routes.h"

namespace index_server {

/// The share with its numbers of rows.
http_reply answer_share(const admin_parts& parts, const share& of, const std::string& body);

/// A new token, {"revoke":true} also takes the share away from all others.
http_reply answer_token(const admin_parts& parts, const share& of, const std::string& body);

/// Removes the share, {"name":"..."} repeating its name. Its rows go in the background.
http_reply answer_removal(const admin_parts& parts, const share& of, const std::string& body);

/// A page of the records of transactions, newest first; of one share with `share` in the query text.
http_reply list_transactions(const std::string& query, const admin_parts& parts);

// One step each; the answer has `after` for the next one, if there is one.
http_reply answer_backup_mark(const admin_parts& parts, const share& of, const std::string& body);
http_reply answer_purge(const admin_parts& parts, const share& of, const std::string& body);
http_reply answer_check(const admin_parts& parts, const share& of, const std::string& body);

/// A copy of the index in a file on the server's machine.
http_reply answer_backup(const std::string& body, engine& storage);

}  // namespace index_server
