// How a share host comes to the identities of its shares at an index server that runs elsewhere.
#include "iif/registration.h"

#include <algorithm>
#include <boost/json.hpp>
#include <chrono>

#include "hostkit/http_exchange.h"
#include "iif/admin_client.h"
#include "iif/signals.h"
#include "iif/stack.h"

namespace iif {
namespace {

namespace json = boost::json;
using share_host::share_identity;

// The answer to a registration names the share's ids and its token.
share_identity identity_from(const std::string& text, const std::string& server_url, const std::string& source) {
    try {
        const json::value answer = json::parse(text);
        share_identity identity;
        identity.name = json::value_to<std::string>(answer.at("name"));
        identity.subclient_id = answer.at("subclient_id").to_number<std::uint64_t>();
        identity.client_id = answer.at("client_id").to_number<std::uint64_t>();
        identity.token = json::value_to<std::string>(answer.at("token"));
        identity.server_url = server_url;
        return identity;
    } catch (const std::exception&) {
        throw program_error(exit_code::usage,
                            source + " is not what a registration answers; register the share again.");
    }
}

// What a registration takes. With a token of an earlier one, that one grants the share too.
struct registration {
    std::string server_url;
    std::string admin_token;
    std::string name;
    std::string token;
};

// One try. Nothing when the server does not answer or is not well, with the reason.
std::optional<share_identity> try_to_register(const registration& wanted, std::string& reason) {
    hostkit::http_request request;
    request.method = "POST";
    request.url = hostkit::join_url(wanted.server_url, "api/shares");
    request.content_type = "application/json";
    json::object body{{"name", wanted.name}};
    if (!wanted.token.empty()) body["token"] = wanted.token;
    request.body = json::serialize(body);
    request.bearer_token = wanted.admin_token;
    hostkit::http_answer answer;
    const CXoError error = hostkit::http_exchange(request, answer);
    if (error.IsError()) {
        reason = error.AsString();
        return std::nullopt;
    }
    if (answer.status == 200)
        return identity_from(answer.body, wanted.server_url, "The answer of " + wanted.server_url);
    if (answer.status == 401 || answer.status == 403)
        throw program_error(exit_code::refused,
                            "The index server does not take the admin token; check --admin-token-file.");
    if (answer.status >= 400 && answer.status < 500 && answer.status != 408 && answer.status != 429)
        throw program_error(exit_code::refused, "The index server refuses to register " + wanted.name + ": " +
                                                    stated_reason(answer) + "; check --server and --share.");
    reason = "status " + std::to_string(answer.status);
    return std::nullopt;
}

std::optional<share_identity> register_share(const registration& wanted, std::stop_token stop) {
    for (std::chrono::milliseconds pause(500);; pause = std::min(pause * 2, std::chrono::milliseconds(30000))) {
        std::string reason;
        if (auto identity = try_to_register(wanted, reason)) return identity;
        if (stop.stop_requested()) return std::nullopt;
        notice("The index server cannot be reached yet (" + reason + "); trying again.");
        if (!sleep_unless_stopped(stop, pause)) return std::nullopt;
    }
}

// What the state remembers.
std::optional<share_identity> remembered(const share_host::state_dir& state, const std::string& url) {
    std::optional<share_identity> identity = share_host::load_identity(state);
    if (identity && identity->server_url.empty())
        throw program_error(exit_code::refused, "The state in " + state.path +
                                                    " has an index of its own from iif up; use another with --state.");
    // A server keeps its shares when its address changes, so the identity stays good.
    if (identity) identity->server_url = url;
    return identity;
}

// A lone file belongs to a lone share, whatever that is called here.
std::optional<share_identity> of_token_files(const std::vector<share_identity>& given, const std::string& share_name,
                                             bool lone_share) {
    if (lone_share && given.size() == 1) return given.front();
    for (const share_identity& candidate : given)
        if (candidate.name == share_name) return candidate;
    return std::nullopt;
}

}  // namespace

std::vector<share_identity> identities_at_server(const std::vector<share_host::state_dir>& states,
                                                 const server_access& server, std::stop_token stop) {
    const std::string url = server.url.ends_with('/') ? server.url : server.url + "/";
    std::vector<share_identity> given;
    for (const std::string& file : server.token_files)
        given.push_back(identity_from(read_token_file(file), url, "The file " + file));
    std::vector<share_identity> identities;
    std::string token;
    for (const share_host::state_dir& state : states) {
        std::optional<share_identity> identity = remembered(state, url);
        if (!identity) identity = of_token_files(given, state.share_name, states.size() == 1);
        if (!identity || (!token.empty() && identity->token != token)) {
            if (server.admin_token_file.empty())
                throw program_error(
                    exit_code::usage,
                    identity ? "The shares have tokens of their own; give --admin-token-file once to make them one."
                             : "The share " + state.share_name +
                                   " is not registered yet; give --admin-token-file or --token-file.");
            const std::string name = identity ? identity->name : state.share_name;
            identity = register_share({url, read_token_file(server.admin_token_file), name, token}, stop);
        }
        if (!identity) return {};
        token = identity->token;
        share_host::save_identity(state, *identity);
        identities.push_back(std::move(*identity));
    }
    return identities;
}

}  // namespace iif
