// How a share host comes to its identity at an index server that runs elsewhere.
#include "iif/registration.h"

#include <algorithm>
#include <boost/json.hpp>
#include <chrono>

#include "hostkit/http_exchange.h"
#include "iif/signals.h"
#include "iif/stack.h"
#include "share/state_files.h"

namespace iif {
namespace {

namespace json = boost::json;
using share_host::share_identity;

std::string read_secret(const std::string& file) {
    const auto content = share_host::read_state_file(file);
    if (!content) throw program_error(exit_code::usage, "There is no token file " + file + "; check the name.");
    std::string text = *content;
    text.erase(
        std::find_if(text.rbegin(), text.rend(), [](char c) { return c != '\n' && c != ' ' && c != '\r'; }).base(),
        text.end());
    return text;
}

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

// One try. Nothing when the server does not answer or is not well, with the reason.
std::optional<share_identity> try_to_register(const std::string& server_url, const std::string& admin_token,
                                              const std::string& name, std::string& reason) {
    hostkit::http_request request;
    request.method = "POST";
    request.url = hostkit::join_url(server_url, "api/shares");
    request.content_type = "application/json";
    request.body = json::serialize(json::object{{"name", name}});
    request.bearer_token = admin_token;
    hostkit::http_answer answer;
    const CXoError error = hostkit::http_exchange(request, answer);
    if (error.IsError()) {
        reason = error.AsString();
        return std::nullopt;
    }
    if (answer.status == 200) return identity_from(answer.body, server_url, "The answer of " + server_url);
    if (answer.status == 401 || answer.status == 403)
        throw program_error(exit_code::refused,
                            "The index server does not take the admin token; check --admin-token-file.");
    if (answer.status >= 400 && answer.status < 500 && answer.status != 408 && answer.status != 429)
        throw program_error(exit_code::refused, "The index server refuses to register " + name + " with status " +
                                                    std::to_string(answer.status) + "; check --server and --share.");
    reason = "status " + std::to_string(answer.status);
    return std::nullopt;
}

std::optional<share_identity> register_share(const std::string& server_url, const std::string& admin_token,
                                             const std::string& name, std::stop_token stop) {
    for (std::chrono::milliseconds pause(500);; pause = std::min(pause * 2, std::chrono::milliseconds(30000))) {
        std::string reason;
        if (auto identity = try_to_register(server_url, admin_token, name, reason)) return identity;
        notice("The index server cannot be reached yet (" + reason + "); trying again.");
        if (!sleep_unless_stopped(stop, pause)) return std::nullopt;
    }
}

}  // namespace

std::optional<share_identity> identity_at_server(const share_host::state_dir& state, const serve_options& options,
                                                 std::stop_token stop) {
    const std::string url = options.server_url.ends_with('/') ? options.server_url : options.server_url + "/";
    std::optional<share_identity> identity = share_host::load_identity(state);
    if (identity && identity->server_url.empty())
        throw program_error(exit_code::refused, "The state in " + state.path +
                                                    " has an index of its own from iif up; use another with --state.");
    // A server keeps its shares when its address changes, so the identity stays good.
    if (identity && identity->server_url == url) return identity;
    if (identity)
        identity->server_url = url;
    else if (!options.token_file.empty())
        identity = identity_from(read_secret(options.token_file), url, "The file " + options.token_file);
    else if (options.admin_token_file.empty())
        throw program_error(exit_code::usage,
                            "The share is not registered yet; give --admin-token-file or --token-file.");
    else
        identity = register_share(url, read_secret(options.admin_token_file), state.share_name, stop);
    if (identity) share_host::save_identity(state, *identity);
    return identity;
}

}  // namespace iif
