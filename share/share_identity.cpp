// The identity file: one JSON object.
#include <boost/json.hpp>

#include "share/state_dir.h"
#include "share/state_files.h"

namespace share_host {

std::optional<share_identity> load_identity(const state_dir& state) {
    const auto content = read_state_file(state.identity_file());
    if (!content) return std::nullopt;
    try {
        const boost::json::value document = boost::json::parse(*content);
        const auto text = [&](const char* key) { return boost::json::value_to<std::string>(document.at(key)); };
        share_identity identity;
        identity.name = text("name");
        identity.subclient_id = document.at("subclient_id").to_number<std::uint64_t>();
        identity.client_id = document.at("client_id").to_number<std::uint64_t>();
        identity.token = text("token");
        identity.server_url = text("server_url");
        return identity;
    } catch (const std::exception&) {
        throw std::runtime_error("the file " + state.identity_file() + " is damaged");
    }
}

void save_identity(const state_dir& state, const share_identity& identity) {
    const boost::json::value document = {{"name", identity.name},
                                         {"subclient_id", identity.subclient_id},
                                         {"client_id", identity.client_id},
                                         {"token", identity.token},
                                         {"server_url", identity.server_url}};
    replace_state_file(state.identity_file(), boost::json::serialize(document) + "\n");
}

}  // namespace share_host
