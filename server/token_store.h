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

/// The tokens as one server remembers them. Any thread. What changes them goes by what the storage has at that moment,
/// throws std::runtime_error when the storage fails, and has changed nothing then.
class token_store {
public:
    /// Loads the stored tokens; `admin_token` counts beside them, and `metrics_token` unless it is empty.
    token_store(engine& storage, const std::string& admin_token, const std::string& metrics_token = {});

    /// Reads again what other servers may have changed. On a failure of the storage, which is thrown, all that was
    /// known stays known. Nothing to do for an embedded storage.
    void reload();

    /// Makes a token for a share. It is durable on return and told this once. Throws too_many_tokens. Of several
    /// servers that do this at the same moment each may make one more.
    std::string issue(std::int64_t subclient_id);

    /// Lets a token that `issue` made grant another share too, durably. False when there is no such token.
    bool extend(const std::string& token, std::int64_t subclient_id);

    /// Makes a token for a share as `issue` does, and takes the share away from every other token.
    std::string replace(std::int64_t subclient_id);

    /// Takes the share away from all tokens. What they grant besides stays theirs.
    void withdraw_all(std::int64_t subclient_id);

    /// What the token grants, or nothing when it is not remembered. Never waits for the storage.
    std::optional<grant> check(const std::string& token) const;

private:
    using grants = std::map<std::string, grant>;  // by the token's hash

    // The next three: locks: changing_ held.
    void read_if_shared();
    std::string add(std::int64_t subclient_id);
    void withdraw(const std::string& hash, std::int64_t subclient_id);
    std::vector<std::string> hashes_of(std::int64_t subclient_id) const;
    grants stored_grants();

    engine& storage_;
    grants own_;                       // those that are not in the storage; fixed
    std::mutex changing_;              // one change or reading at a time, storage included; taken before mutex_
    mutable std::shared_mutex mutex_;  // guards grants_; never held across the storage
    grants grants_;
};

}  // namespace index_server
