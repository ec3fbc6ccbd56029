// Management exchanges over the registered shares.
#include "server/management.h"

#include <optional>

#include "host/message_classes.h"

namespace index_server {

namespace {

constexpr const char* client_properties_tag = "516377915";
constexpr const char* analytics_engine_tag = "223303891";
constexpr const char* sync_folder_tag = "509216237";

constexpr long long client_entity_type = 3;
/// This server as a client of the management: the second exchange asks for it by this id.
constexpr long long server_client_id = 1;
constexpr long long the_cloud_id = 1;
/// Any type but 5, which stands for a cloud index with column names of its own.
constexpr long long plain_engine_type = 1;
constexpr const char* the_engine_name = "NFS Index";

http_reply message_reply(const CNMessageBase& message) {
    http_reply reply;
    reply.content_type = "text/xml; charset=utf-8";
    message.serialize(reply.body, false);
    return reply;
}

const http_reply& forbidden() {
    static const http_reply reply = error_reply(403, "the token does not grant this share");
    return reply;
}

void add_client(App::GetClientPropertiesResponse& response, const share& owner) {
    auto clients = response.getlistobject<App::ClientInfo>(1, 1, true);
    CNMessageBase& client = clients->emplace_back();
    auto props = client.getObjectAccessor(true, true, 12, 12, 30, 161);
    auto index_props = props->getObjectAccessor(true, true, 16, 16, 30, 480);
    auto server = index_props->getObjectAccessor(true, true, 3, 3, 30, 486);
    server->getObjectAccessor(true, true, 7, 7, 18, 4)->setint64(0, 0, server_client_id);
    CNMessageBase& capability = server->getlistobject<App::UserCapability>(3, 3, true)->emplace_back();
    auto entity = capability.getObjectAccessor<ZyEntities::UserEntity>(true, true, 1, 1, 18, 15);
    entity->setstring(2, 5, string_to_zystring(owner.index_server_name));
}

http_reply client_properties(App::GetClientPropertiesRequest& request, const grant& asker,
                             const share_registry& shares) {
    App::GetClientPropertiesResponse response;
    auto asked = request.getObjectAccessor(true, false, 1, 1, 30, 290);
    const auto entities = asked->getlistobject<ZyEntities::GenericEntity>(1, 1, false);
    for (const ZyEntities::GenericEntity& entity : *entities) {
        if (entity.getint64(0) != client_entity_type) continue;
        const std::optional<share> found = shares.by_client(entity.getint64(17));
        if (!found) continue;
        if (!asker.covers(found->subclient_id)) return forbidden();
        add_client(response, *found);
    }
    return message_reply(response);
}

http_reply index_servers(LWGui::AnalyticsEngineClientID& request) {
    LWGui::IndexServerList response;
    const long long client = request.getObjectAccessor(true, false, 3, 6, 18, 4)->getint64(0);
    if (client == server_client_id && request.getstring(2, 2) == the_engine_name) {
        CNMessageBase& engine = response.getlistobject<LWGui::AnalyticsEngine>(1, 1, true)->emplace_back();
        engine.setint64(5, 5, the_cloud_id);
        engine.setint64(19, 19, plain_engine_type);
    }
    return message_reply(response);
}

http_reply sync_folder(App::GetSyncWebFolderReq& request, const grant& asker, const share_registry& shares) {
    App::GetSyncWebFolderResp response;
    auto user = request.getObjectAccessor<ZyEntities::UserEntity>(true, false, 5, 5, 18, 15);
    const std::optional<share> found = shares.by_index_server(string_from_zystring(user->getstring(2, 5)));
    if (found) {
        if (!asker.covers(found->subclient_id)) return forbidden();
        CNMessageBase& info = response.getlistobject<App::SyncWebFolderInfo>(1, 1, true)->emplace_back();
        info.getObjectAccessor(true, true, 1, 1, 18, 91)->setint64(0, 0, found->folder_id);
    }
    return message_reply(response);
}

/// Reads the request's class out of the body and passes it on.
template <class Request, class Answer>
http_reply read_and_answer(std::string text, Answer answer) {
    Request request;
    if (request.unserialize(text) != 0) return error_reply(400, "the body is not a message of the asked kind");
    return answer(request);
}

}  // namespace

bool is_management_tag(const std::string& tag) {
    return tag == client_properties_tag || tag == analytics_engine_tag || tag == sync_folder_tag;
}

http_reply answer_management(const std::string& tag, const std::string& body, const grant& asker,
                             const share_registry& shares) {
    if (tag == client_properties_tag) {
        return read_and_answer<App::GetClientPropertiesRequest>(
            body, [&](auto& request) { return client_properties(request, asker, shares); });
    }
    if (tag == sync_folder_tag) {
        return read_and_answer<App::GetSyncWebFolderReq>(
            body, [&](auto& request) { return sync_folder(request, asker, shares); });
    }
    return read_and_answer<LWGui::AnalyticsEngineClientID>(body, index_servers);
}

}  // namespace index_server
