// Index location: two exchanges with the management server. Of every list in an answer only the first element counts.
#include "discovery/index_location.h"

#include "core/log_line.h"
#include "host/management.h"
#include "query/message_access.h"

namespace {

namespace fields = message_fields;

constexpr unsigned long client_properties_tag = 516377915;
constexpr unsigned long engine_list_tag = 223303891;
constexpr int client_entity_type = 3;
constexpr int cloud_engine_type = 5;

/// The path of the index server inside a client's properties; false when a step of it is missing.
template <class Use>
bool with_index_server(App::ClientInfo& client, Use use) {
    if (!client.isSet(fields::ClientInfo::clientProps.number)) {
        return false;
    }
    auto client_props = child_to_read(client, fields::ClientInfo::clientProps);
    if (!client_props->isSet(fields::ClientProps::indexProps.number)) {
        return false;
    }
    auto index_props = child_to_read(*client_props, fields::ClientProps::indexProps);
    if (!index_props->isSet(fields::IndexProps::indexServer.number)) {
        return false;
    }
    auto index_server = child_to_read(*index_props, fields::IndexProps::indexServer);
    return use(*index_server);
}

bool read_cloud_id(CNMessageBase& index_server, int& cloud_id, bool& is_solr_cloud) {
    if (!index_server.isSet(fields::IndexServer::serverClient.number)) {
        return false;
    }
    auto server_client = child_to_read(index_server, fields::IndexServer::serverClient);
    return get_cloud_id(static_cast<int>(server_client->getint64(fields::ServerClient::serverClientId)), cloud_id,
                        is_solr_cloud) == 0;
}

bool read_server_name(CNMessageBase& index_server, std::string& index_server_name) {
    if (!index_server.isSet(fields::IndexServer::capabilities.number)) {
        return false;
    }
    auto capabilities = list_to_read<App::UserCapability>(index_server, fields::IndexServer::capabilities);
    if (capabilities->empty() || !capabilities->front().isSet(fields::UserCapability::serverEntity.number)) {
        return false;
    }
    auto entity = child_to_read(capabilities->front(), fields::UserCapability::serverEntity);
    if (!entity->isSet(fields::ServerEntity::serverEntityName.number)) {
        return false;
    }
    index_server_name = string_from_zystring(text_of(*entity, fields::ServerEntity::serverEntityName));
    return true;
}

}  // namespace

int get_index_cloud_id(int client_id, std::string& index_server_name, int& cloud_id, bool& is_solr_cloud) {
    [[maybe_unused]] static constexpr char tracing_label[] = "ZYMAWorker::ProcessNFSStorePrungingRequest";

    App::GetClientPropertiesRequest request;
    auto client_list = child_to_write(request, fields::GetClientPropertiesRequest::clientList);
    ZyEntities::GenericEntity entity;
    set_number(entity, fields::GenericEntity::entityId, client_id);
    set_number(entity, fields::GenericEntity::entityType, client_entity_type);
    list_to_write<ZyEntities::GenericEntity>(*client_list, fields::ClientList::entities)->push_back(entity);
    std::string message;
    request.serialize(message, false);
    IIF_LOG(1, "INFO: GetClientPropertiesRequest [%s]", message.c_str());

    std::string error_text;
    const std::string request_text = message;
    int ret = XMLHandler().handleXMLReq(1, client_properties_tag, message, error_text, std::string(), 0);
    if (ret != 0) {
        IIF_LOG_ERROR("Failed to run query [App::GetClientPropertiesRequest] err [%d : %s] input [%s]", ret,
                      error_text.c_str(), request_text.c_str());
        return -1;
    }
    IIF_LOG(1, "INFO: GetClientPropertiesResponse xml[%s]", message.c_str());

    App::GetClientPropertiesResponse response;
    ret = response.unserialize(message);
    if (ret != 0) {
        IIF_LOG_ERROR("Error: Failed to unserialize response xml returned [%d] [%s]", ret, message.c_str());
        return -1;
    }
    auto clients = list_to_read<App::ClientInfo>(response, fields::GetClientPropertiesResponse::clients);
    if (clients->empty()) {
        return 0;  // the caller cannot tell this from a success, and is not meant to
    }
    const bool found_id = with_index_server(clients->front(), [&](CNMessageBase& index_server) {
        return read_cloud_id(index_server, cloud_id, is_solr_cloud);
    });
    const bool found_name = with_index_server(clients->front(), [&](CNMessageBase& index_server) {
        return read_server_name(index_server, index_server_name);
    });
    if (!found_id || !found_name) {
        IIF_LOG_ERROR("Error: index server information not present in client propoerties obtained above.");
        return -1;
    }
    return 0;
}

int get_cloud_id(int client_id, int& cloud_id, bool& is_solr_cloud) {
    LWGui::AnalyticsEngineClientID request;
    set_number(*child_to_write(request, fields::AnalyticsEngineClientID::client), fields::Client::clientId, client_id);
    set_text(request, fields::AnalyticsEngineClientID::engineName, "NFS Index");
    std::string request_text;
    request.serialize(request_text, false);
    IIF_LOG(1, "AnalyticsEngineClientID Req [%s]", request_text.c_str());

    std::string response_text;
    int ret = App_ExecuteSP().executeStoredProcedure(engine_list_tag, request_text, response_text, nullptr);
    if (ret != 0) {
        IIF_LOG_ERROR("Failed to get cloud_id. ret_code [%d]", ret);
        return -1;
    }
    IIF_LOG(1, "LWGui::AnalyticsEngine Resp [%s]", response_text.c_str());

    LWGui::IndexServerList response;
    ret = response.unserialize(response_text);
    if (ret != 0) {
        IIF_LOG_ERROR("Failed to unserialize response xml returned [%d] [%s]", ret, response_text.c_str());
        return -1;
    }
    auto engines = list_to_read<LWGui::AnalyticsEngine>(response, fields::IndexServerList::engines);
    if (!response.isSet(fields::IndexServerList::engines.number) || engines->empty()) {
        IIF_LOG_ERROR("No index servers returned. [%s]", response_text.c_str());
        return -1;
    }
    cloud_id = static_cast<int>(engines->front().getint64(fields::AnalyticsEngine::cloudId));
    is_solr_cloud = engines->front().getint64(fields::AnalyticsEngine::engineType) == cloud_engine_type;
    IIF_LOG(1, "cloud_id [%d] is_solr_cloud [%s]", cloud_id, is_solr_cloud ? "true" : "false");
    return 0;
}
