// Registration and look-up of shares.
#include "server/share_registry.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <utf8proc.h>

#include "hostkit/log.h"

namespace index_server {

namespace {

constexpr std::size_t longest_name = 128;

bool is_valid_utf8(const std::string& text) {
    const auto* at = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    auto left = static_cast<utf8proc_ssize_t>(text.size());
    while (left > 0) {
        utf8proc_int32_t point = 0;
        const utf8proc_ssize_t used = utf8proc_iterate(at, left, &point);
        if (used <= 0) return false;
        at += used;
        left -= used;
    }
    return true;
}

void check_name(const std::string& name) {
    const bool is_plain =
        std::none_of(name.begin(), name.end(), [](unsigned char c) { return c == '/' || c < 0x20 || c == 0x7f; });
    if (name.empty() || name.size() > longest_name || !is_plain || name == "." || name == ".." ||
        !is_valid_utf8(name)) {
        throw std::invalid_argument(
            "a share's name has 1 to 128 bytes of UTF-8 without '/' and control characters, and is neither '.' nor "
            "'..'");
    }
}

}  // namespace

share_registry::share_registry(engine& storage, token_store& tokens) : storage_(storage), tokens_(tokens) {
    shares_ = stored_shares();
}

share_registry::shares share_registry::stored_shares() {
    shares found;
    for (share& stored : storage_.shares())
        found[stored.subclient_id] = std::move(stored);
    return found;
}

void share_registry::reload() {
    if (storage_.is_embedded()) return;
    const std::lock_guard change(changing_);
    shares found = stored_shares();
    const std::unique_lock lock(mutex_);
    shares_.swap(found);
}

share_access share_registry::register_share(const std::string& name, const std::optional<std::string>& token) {
    check_name(name);
    if (token) {
        if (!tokens_.check(*token)) tokens_.reload();
        const std::optional<grant> known = tokens_.check(*token);
        if (!known || known->is_admin) throw std::invalid_argument("the token is none that a registration gave");
    }
    const share made = stored_share(name);
    HOSTKIT_LOG(1, "index server: share [%s] registered as %lld, a token grants it", made.name.c_str(),
                static_cast<long long>(made.subclient_id));
    share_access access{
        made.name, made.subclient_id, made.client_id, made.folder_id, made.root_guid, made.index_server_name, {}};
    if (token) {
        tokens_.extend(*token, made.subclient_id);
        access.token = *token;
    } else {
        access.token = tokens_.issue(made.subclient_id);
    }
    return access;
}

share share_registry::stored_share(const std::string& name) {
    const std::lock_guard change(changing_);
    share made = storage_.register_share(name);
    const std::unique_lock lock(mutex_);
    shares_[made.subclient_id] = made;
    return made;
}

void share_registry::forget(std::int64_t subclient_id) {
    const std::lock_guard change(changing_);
    const std::unique_lock lock(mutex_);
    shares_.erase(subclient_id);
}

template <class Test>
std::optional<share> share_registry::first(Test test) const {
    const std::shared_lock lock(mutex_);
    const auto found =
        std::find_if(shares_.begin(), shares_.end(), [&](const auto& entry) { return test(entry.second); });
    return found == shares_.end() ? std::nullopt : std::optional<share>(found->second);
}

std::optional<share> share_registry::by_subclient(std::int64_t subclient_id) const {
    const std::shared_lock lock(mutex_);
    const auto found = shares_.find(subclient_id);
    return found == shares_.end() ? std::nullopt : std::optional<share>(found->second);
}

std::optional<share> share_registry::by_client(std::int64_t client_id) const {
    return first([&](const share& s) { return s.client_id == client_id; });
}

std::optional<share> share_registry::by_index_server(const std::string& index_server_name) const {
    return first([&](const share& s) { return s.index_server_name == index_server_name; });
}

std::vector<share> share_registry::all() const {
    const std::shared_lock lock(mutex_);
    std::vector<share> result;
    for (const auto& entry : shares_)
        result.push_back(entry.second);
    return result;
}

}  // namespace index_server
