// Which token grants what. The storage holds hashes only.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "server/engine.h"

namespace index_server {

/// What a token grants: the shares of one process, or everything.
struct grant {
    bool is_admin = false;
    std::vector<std::int64_t> subclient_ids;
    bool covers(std::int64_t subclient) const {
        return is_admin || std::find(subclient_ids.begin(), subclient_ids.end(), subclient) != subclient_ids.end();
    }
};

/// The tokens of one server. Any thread.
class token_store {
public:
    /// Loads the stored tokens; `admin_token` counts beside them.
    token_store(engine& storage, const std::string& admin_token);

    /// Makes a token for a share. It is durable on return and told this once.
    std::string issue(std::int64_t subclient_id);

    /// Lets a token that `issue` made grant another share too, durably. False when there is no such token.
    bool extend(const std::string& token, std::int64_t subclient_id);

    /// What the token grants, or nothing when it is unknown.
    std::optional<grant> check(const std::string& token) const;

private:
    engine& storage_;
    mutable std::shared_mutex mutex_;      // guards grants_; never held across the storage
    std::map<std::string, grant> grants_;  // by the token's hash
};

}  // namespace index_server
