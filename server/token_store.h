// Which token grants what. The storage holds hashes only.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/engine.h"

namespace index_server {

/// What a token grants: the shares of one process, or everything.
struct grant {
    bool is_admin = false;
    bool reads_metrics = false;  ///< and, beside what else it grants, nothing more
    std::vector<std::int64_t> subclient_ids;
    bool covers(std::int64_t subclient) const {
        return is_admin || std::find(subclient_ids.begin(), subclient_ids.end(), subclient) != subclient_ids.end();
    }
};

/// Most tokens that grant one share at a time. A host keeps its token, so more are a sign of hosts that lose theirs.
constexpr std::size_t most_tokens_of_share = 16;

/// Thrown instead of issuing one token too many.
class too_many_tokens : public std::runtime_error {
public:
    too_many_tokens();
};

/// The tokens of one server. Any thread. What changes them throws std::runtime_error when the storage fails, and has
/// changed nothing then.
class token_store {
public:
    /// Loads the stored tokens; `admin_token` counts beside them, and `metrics_token` unless it is empty.
    token_store(engine& storage, const std::string& admin_token, const std::string& metrics_token = {});

    /// Makes a token for a share. It is durable on return and told this once. Throws too_many_tokens.
    std::string issue(std::int64_t subclient_id);

    /// Lets a token that `issue` made grant another share too, durably. False when there is no such token.
    bool extend(const std::string& token, std::int64_t subclient_id);

    /// Makes a token for a share as `issue` does, and takes the share away from every other token.
    std::string replace(std::int64_t subclient_id);

    /// Takes the share away from all tokens. What they grant besides stays theirs.
    void withdraw_all(std::int64_t subclient_id);

    /// What the token grants, or nothing when it is unknown.
    std::optional<grant> check(const std::string& token) const;

private:
    std::vector<std::string> hashes_of(std::int64_t subclient_id) const;
    std::string add(std::int64_t subclient_id);
    void withdraw(const std::string& hash, std::int64_t subclient_id);

    engine& storage_;
    std::mutex changing_;                  // one change at a time, storage included; taken before mutex_
    mutable std::shared_mutex mutex_;      // guards grants_; never held across the storage
    std::map<std::string, grant> grants_;  // by the token's hash
};

}  // namespace index_server
