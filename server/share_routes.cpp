// Shares as JSON.
#include "server/share_routes.h"

#include <optional>
#include <stdexcept>

#include <boost/json.hpp>

#include "server/json_request.h"

namespace index_server {

namespace {

template <class Share>
boost::json::object as_json(const Share& one) {
    return {{"name", one.name},           {"subclient_id", one.subclient_id},
            {"client_id", one.client_id}, {"folder_id", one.folder_id},
            {"root_guid", one.root_guid}, {"index_server_name", one.index_server_name}};
}

}  // namespace

http_reply answer_registration(const std::string& body, share_registry& shares) {
    boost::json::error_code malformed;
    const boost::json::value request = boost::json::parse(body, malformed);
    const boost::json::object* fields = malformed ? nullptr : request.if_object();
    const boost::json::value* name = fields == nullptr ? nullptr : fields->if_contains("name");
    const boost::json::value* token = fields == nullptr ? nullptr : fields->if_contains("token");
    if (name == nullptr || !name->is_string() || (token != nullptr && !token->is_string()) ||
        fields->size() != (token == nullptr ? 1 : 2)) {
        return error_reply(400, "the body is not {\"name\":\"...\"}, with or without a \"token\"");
    }
    try {
        std::optional<std::string> granted;
        if (token != nullptr) granted = std::string(token->get_string());
        const share_access access = shares.register_share(std::string(name->get_string()), granted);
        boost::json::object answer = as_json(access);
        answer["token"] = access.token;
        return {200, boost::json::serialize(answer)};
    } catch (const std::invalid_argument& refusal) {
        return error_reply(400, refusal.what());
    } catch (const too_many_tokens& refusal) {
        return error_reply(409, refusal.what());
    }
}

boost::json::object share_json(const share& one) {
    return as_json(one);
}

http_reply list_shares(const std::string& query, const share_registry& shares) {
    const wanted_page page = read_page(query);
    std::int64_t after = place_number(page.after, 0);
    boost::json::array list;
    boost::json::object answer;
    for (const share& one : shares.all()) {
        if (one.subclient_id <= after) continue;
        if (list.size() == page.limit) {
            answer["after"] = place_text(std::to_string(after));
            break;
        }
        list.push_back(as_json(one));
        after = one.subclient_id;
    }
    answer["shares"] = std::move(list);
    return {200, boost::json::serialize(answer)};
}

}  // namespace index_server
