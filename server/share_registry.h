// The registered shares as one server remembers them, so that no look-up waits for the storage.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "server/engine.h"
#include "server/index_server.h"
#include "server/token_store.h"

namespace index_server {

/// The shares of one server. Any thread.
class share_registry {
public:
    share_registry(engine& storage, token_store& tokens);

    /// Registers or finds the share of that name, durably, and issues a token for it. Throws std::invalid_argument
    /// for a name that no share may have, too_many_tokens, std::runtime_error when the storage fails. With a token of
    /// an earlier registration that one grants this share too, in place of a new one; std::invalid_argument when it is
    /// unknown.
    share_access register_share(const std::string& name, const std::optional<std::string>& token = std::nullopt);

    /// Reads again what other servers may have changed. On a failure of the storage, which is thrown, all that was
    /// known stays known. Nothing to do for an embedded storage.
    void reload();

    /// Lets go of a share that the storage has withdrawn.
    void forget(std::int64_t subclient_id);

    // These never wait for the storage.
    std::optional<share> by_subclient(std::int64_t subclient_id) const;
    std::optional<share> by_client(std::int64_t client_id) const;
    std::optional<share> by_index_server(const std::string& index_server_name) const;
    /// All of them, by subclient id.
    std::vector<share> all() const;

private:
    using shares = std::map<std::int64_t, share>;

    shares stored_shares();
    share stored_share(const std::string& name);
    template <class Test>
    std::optional<share> first(Test test) const;

    engine& storage_;
    token_store& tokens_;
    std::mutex changing_;              // one change or reading at a time, storage included; taken before mutex_
    mutable std::shared_mutex mutex_;  // guards shares_; never held across the storage
    shares shares_;
};

}  // namespace index_server
