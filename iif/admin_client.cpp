// The asking side of an index server's JSON API.
#include "iif/admin_client.h"

#include <boost/json.hpp>
#include <utility>
#include <vector>

#include "hostkit/settings.h"
#include "iif/output.h"
#include "share/state_files.h"

namespace iif {
namespace {

namespace json = boost::json;

[[noreturn]] void throw_senseless() {
    throw program_error(exit_code::cannot_reach,
                        "The answer of the index server makes no sense; check --server, and whether it is of this "
                        "version.");
}

std::string given(const std::string& option, const char* setting, const char* missing) {
    std::string text = option.empty() ? hostkit::process_settings().get("server", setting, "") : option;
    if (text.empty()) throw program_error(exit_code::usage, missing);
    return text;
}

[[noreturn]] void throw_refusal(const hostkit::http_answer& answer) {
    const std::string reason = printable(stated_reason(answer));
    switch (answer.status) {
        case 401:
        case 403:
            throw program_error(exit_code::refused,
                                "The index server does not take the admin token; check --admin-token-file.");
        case 404:
            throw program_error(exit_code::not_found, "The index server says: " + reason + ".");
        case 400:
        case 409:
            throw program_error(exit_code::refused, "The index server refuses: " + reason + ".");
        default:
            throw program_error(exit_code::cannot_reach, "The index server is not well: " + reason + ".");
    }
}

const json::value& member_of(const json::object& answer, const char* member) {
    const json::value* value = answer.if_contains(member);
    if (value == nullptr) throw_senseless();
    return *value;
}

}  // namespace

std::string read_token_file(const std::string& file) {
    const auto content = share_host::read_state_file(file);
    if (!content) throw program_error(exit_code::usage, "There is no token file " + file + "; check the name.");
    return content->substr(0, content->find_last_not_of("\r\n ") + 1);
}

std::string stated_reason(const hostkit::http_answer& answer) {
    json::error_code malformed;
    const json::value body = json::parse(answer.body, malformed);
    const json::object* fields = malformed ? nullptr : body.if_object();
    const json::value* text = fields == nullptr ? nullptr : fields->if_contains("error");
    if (text == nullptr || !text->is_string()) return "status " + std::to_string(answer.status);
    return std::string(text->get_string());
}

admin_client::admin_client(const admin_options& options)
    : url_(given(options.url, "url", "No index server is named; give --server, or url in [server] of the settings.")),
      token_(read_token_file(given(options.admin_token_file, "admin_token_file",
                                   "No admin token is given; give --admin-token-file, or admin_token_file in [server] "
                                   "of the settings."))) {}

json::object admin_client::exchange(hostkit::http_request request, const std::string& path) const {
    request.url = hostkit::join_url(url_, path);
    request.bearer_token = token_;
    hostkit::http_answer answer;
    const CXoError error = hostkit::http_exchange(request, answer);
    if (error.IsError())
        throw program_error(exit_code::cannot_reach, "The index server cannot be reached: " + error.AsString() + ".");
    if (answer.status != 200) throw_refusal(answer);
    json::error_code malformed;
    const json::value body = json::parse(answer.body, malformed);
    if (malformed || !body.is_object()) throw_senseless();
    return body.get_object();
}

json::object admin_client::get(const std::string& path) const {
    return exchange({}, path);
}

json::object admin_client::post(const std::string& path, const json::object& body, long patience_ms) const {
    hostkit::http_request request;
    request.method = "POST";
    request.content_type = "application/json";
    request.body = json::serialize(body);
    request.total_timeout_ms = patience_ms;
    return exchange(std::move(request), path);
}

void admin_client::for_each(const std::string& path, const char* member,
                            const std::function<void(const json::object&)>& show) const {
    const std::string separator = path.find('?') == std::string::npos ? "?" : "&";
    std::string after;
    do {
        const json::object page = get(path + separator + "limit=1000" + (after.empty() ? "" : "&after=" + after));
        const json::value& entries = member_of(page, member);
        if (!entries.is_array()) throw_senseless();
        for (const json::value& entry : entries.get_array()) {
            if (!entry.is_object()) throw_senseless();
            show(entry.get_object());
        }
        after = page.contains("after") ? text_of(page, "after") : std::string();
    } while (!after.empty());
}

void admin_client::walk(const std::string& path, json::object body,
                        const std::function<void(const json::object&)>& show) const {
    for (;;) {
        const json::object answer = post(path, body);
        show(answer);
        if (!answer.contains("after")) return;
        body["after"] = text_of(answer, "after");
    }
}

std::vector<json::object> admin_client::shares(const std::string& name) const {
    std::vector<json::object> found;
    for_each("api/shares", "shares", [&](const json::object& share) {
        if (name.empty() || text_of(share, "name") == name) found.push_back(share);
    });
    if (found.empty() && !name.empty())
        throw program_error(exit_code::not_found, "The index server has no share " + printable(name) +
                                                      "; iif admin share list shows those it has.");
    return found;
}

json::object admin_client::share(const std::string& name) const {
    return shares(name).front();
}

bool admin_client::has_share(const std::string& name) const {
    bool has = false;
    for_each("api/shares", "shares", [&](const json::object& share) { has = has || text_of(share, "name") == name; });
    return has;
}

std::string share_path(const json::object& share, const std::string& operation) {
    return "api/shares/" + std::to_string(number_of(share, "subclient_id")) + operation;
}

std::string text_of(const json::object& answer, const char* member) {
    const json::value& value = member_of(answer, member);
    if (!value.is_string()) throw_senseless();
    return std::string(value.get_string());
}

std::int64_t number_of(const json::object& answer, const char* member) {
    const json::value& value = member_of(answer, member);
    if (!value.is_int64()) throw_senseless();
    return value.get_int64();
}

}  // namespace iif
