// Tokens: SHA-256 hashes in storage and in memory.
#include "server/token_store.h"

#include <mutex>
#include <stdexcept>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "server/hex_text.h"

namespace index_server {

namespace {

constexpr std::size_t token_bytes = 32;

/// SHA-256 in hex. A token has 256 random bits, so its hash needs neither salt nor stretching.
std::string hash_of(const std::string& token) {
    // Fetched once: each request has a token, and to look the algorithm up takes longer than to run it.
    static EVP_MD* const sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (sha256 == nullptr || EVP_Digest(token.data(), token.size(), digest, &size, sha256, nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    return to_hex(digest, size);
}

}  // namespace

too_many_tokens::too_many_tokens()
    : std::runtime_error(std::to_string(most_tokens_of_share) +
                         " tokens grant the share already; withdraw them with iif admin share token --revoke") {}

token_store::token_store(engine& storage, const std::string& admin_token, const std::string& metrics_token)
    : storage_(storage) {
    if (!metrics_token.empty()) own_[hash_of(metrics_token)].reads_metrics = true;
    own_[hash_of(admin_token)] = grant{true, true, {}};
    grants_ = stored_grants();
}

token_store::grants token_store::stored_grants() {
    grants found = own_;
    for (const token_grant& stored : storage_.tokens()) {
        grant& known = found[stored.hash];
        known.is_admin = known.is_admin || stored.subclient_id == 0;
        known.subclient_ids.push_back(stored.subclient_id);
    }
    return found;
}

void token_store::reload() {
    const std::lock_guard change(changing_);
    read_if_shared();
}

void token_store::read_if_shared() {
    if (storage_.is_embedded()) return;
    grants found = stored_grants();
    const std::unique_lock lock(mutex_);
    grants_.swap(found);
}

std::string token_store::issue(std::int64_t subclient_id) {
    const std::lock_guard change(changing_);
    read_if_shared();
    if (hashes_of(subclient_id).size() >= most_tokens_of_share) throw too_many_tokens();
    return add(subclient_id);
}

std::string token_store::replace(std::int64_t subclient_id) {
    const std::lock_guard change(changing_);
    read_if_shared();
    const std::vector<std::string> former = hashes_of(subclient_id);
    std::string token = add(subclient_id);
    for (const std::string& hash : former)
        withdraw(hash, subclient_id);
    return token;
}

void token_store::withdraw_all(std::int64_t subclient_id) {
    const std::lock_guard change(changing_);
    for (const std::string& hash : hashes_of(subclient_id))
        withdraw(hash, subclient_id);
}

bool token_store::extend(const std::string& token, std::int64_t subclient_id) {
    const std::lock_guard change(changing_);
    read_if_shared();
    const std::optional<grant> known = check(token);
    if (!known || known->is_admin) return false;
    if (known->covers(subclient_id)) return true;
    if (hashes_of(subclient_id).size() >= most_tokens_of_share) throw too_many_tokens();
    const std::string hash = hash_of(token);
    storage_.add_token({hash, subclient_id});
    const std::unique_lock lock(mutex_);
    grants_[hash].subclient_ids.push_back(subclient_id);
    return true;
}

std::vector<std::string> token_store::hashes_of(std::int64_t subclient_id) const {
    std::vector<std::string> hashes;
    const std::shared_lock lock(mutex_);
    for (const auto& [hash, known] : grants_) {
        if (!known.is_admin && known.covers(subclient_id)) hashes.push_back(hash);
    }
    return hashes;
}

std::string token_store::add(std::int64_t subclient_id) {
    std::string token = random_hex(token_bytes);
    const std::string hash = hash_of(token);
    storage_.add_token({hash, subclient_id});
    const std::unique_lock lock(mutex_);
    grants_[hash] = grant{false, false, {subclient_id}};
    return token;
}

void token_store::withdraw(const std::string& hash, std::int64_t subclient_id) {
    storage_.remove_token({hash, subclient_id});
    const std::unique_lock lock(mutex_);
    const auto known = grants_.find(hash);
    std::erase(known->second.subclient_ids, subclient_id);
    if (known->second.subclient_ids.empty() && !known->second.reads_metrics) grants_.erase(known);
}

std::optional<grant> token_store::check(const std::string& token) const {
    const std::string hash = hash_of(token);
    const std::shared_lock lock(mutex_);
    // How long the search takes tells something of a hash at most, from which no token can be made; whether two
    // hashes are equal is decided in constant time.
    const auto found = grants_.lower_bound(hash);
    if (found == grants_.end() || found->first.size() != hash.size() ||
        CRYPTO_memcmp(found->first.data(), hash.data(), hash.size()) != 0) {
        return std::nullopt;
    }
    return found->second;
}

}  // namespace index_server
