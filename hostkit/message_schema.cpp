// The table of message classes. Classes without a name of their own in the program are given the one that says what
// they hold; it appears in no text, since a child is called after its field.
#include "hostkit/message_schema.h"

#include <algorithm>

#include "host/message_classes.h"

namespace hostkit {
namespace {

using namespace KT5ContentIndexing;

constexpr message_field integer(short field, short tag, std::string_view name) {
    return {field, tag, field_kind::integer, name, nullptr, nullptr, nullptr};
}

/// An integer that is known by its number alone.
constexpr message_field integer(short field, std::string_view name) {
    return integer(field, field, name);
}

constexpr message_field string(short field, short tag, std::string_view name) {
    return {field, tag, field_kind::string, name, nullptr, nullptr, nullptr};
}

constexpr message_field string_list(short field, short tag, std::string_view name) {
    return {field, tag, field_kind::string_list, name, nullptr, nullptr, nullptr};
}

constexpr message_field int_list(short field, short tag, std::string_view name) {
    return {field, tag, field_kind::int_list, name, nullptr, nullptr, nullptr};
}

template <class T = CNMessageBase>
constexpr message_field child(short field, short tag, std::string_view name, const message_class& content) {
    return {field, tag, field_kind::child, name, &content, &message_child_type_of<T>, nullptr};
}

template <class T>
constexpr message_field list_of(short field, short tag, std::string_view name, const message_class& content) {
    return {field, tag, field_kind::object_list, name, &content, nullptr, &message_list_type_of<T>};
}

// Search request, from the leaves up.

constexpr message_field field_value_list_fields[] = {string_list(1, 1, "valueList")};
constexpr message_class field_value_list{"FieldValueList", 14, 127, field_value_list_fields};

constexpr message_field field_value_fields[] = {
    string(1, 1, "fieldName"),
    child(2, 5, "fieldValues", field_value_list),
    integer(3, 6, "matchMode"),
};
constexpr message_class field_value{"FieldValue", 14, 146, field_value_fields};

constexpr message_field field_criteria_fields[] = {
    list_of<FieldValue>(2, 5, "criteriaFields", field_value),
    integer(3, 6, "criteriaMode"),
};
constexpr message_class field_criteria{"FieldCriteria", 14, 150, field_criteria_fields};

constexpr message_field search_group_fields[] = {
    integer(3, 3, "groupMode"),
    child(4, 4, "criteria", field_criteria),
};
constexpr message_class search_group{"ZYSearchGroup", 14, 151, search_group_fields};

constexpr message_field security_group_fields[] = {
    int_list(2, 2, "subclientIds"),
    list_of<FieldValue>(7, 7, "scopeFields", field_value),
};
constexpr message_class security_group{"ZYOrbitSecurityGroup", 14, 153, security_group_fields};

constexpr message_field search_keyword_fields[] = {
    string(1, 1, "keywordText"),
    integer(2, 5, "keywordMode"),
};
constexpr message_class search_keyword{"SearchKeyword", 14, 154, search_keyword_fields};

constexpr message_field search_filter_set_fields[] = {
    child(1, 1, "keyword", search_keyword),
    list_of<ZYSearchGroup>(3, 3, "queryGroups", search_group),
    list_of<ZYSearchGroup>(4, 4, "baseGroups", search_group),
    list_of<ZYOrbitSecurityGroup>(7, 7, "securityGroups", security_group),
};
constexpr message_class search_filter_set{"SearchFilterSet", 14, 157, search_filter_set_fields};

constexpr message_field search_parameters_fields[] = {
    string(1, 1, "paramName"),
    string(2, 5, "paramValue"),
};
constexpr message_class search_parameters{"SearchParameters", 14, 158, search_parameters_fields};

constexpr message_field search_processing_info_fields[] = {
    integer(1, 1, "pageSize"),
    integer(2, 2, "pageStart"),
    list_of<SearchParameters>(5, 5, "parameters", search_parameters),
};
constexpr message_class search_processing_info{"SearchProcessingInfo", 14, 159, search_processing_info_fields};

constexpr message_field ci_server_fields[] = {integer(2, 2, "serverCloudId")};
constexpr message_class ci_server{"CIServer", 14, 120, ci_server_fields};

constexpr message_field search_server_ref_fields[] = {string(2, 5, "serverName")};
constexpr message_class search_server_ref{"SearchServerRef", 14, 1, search_server_ref_fields};

constexpr message_field search_req_fields[] = {
    child<SearchProcessingInfo>(1, 1, "processingInfo", search_processing_info),
    child(2, 2, "filterSet", search_filter_set),
    integer(6, 6, "searchMode"),
    list_of<CIServer>(7, 7, "servers", ci_server),
    child(8, 8, "serverRef", search_server_ref),
};
constexpr message_class search_req{"ZYSearchReq", 14, 169, search_req_fields};

// Search response.

constexpr message_field error_fields[] = {
    integer(1, "errorCode"),
    string(2, 2, "errorMessage"),
};
constexpr message_class error{"Error", 14, 2, error_fields};

constexpr message_field name_value_map_fields[] = {
    string(1, 1, "propertyName"),
    string(2, 5, "propertyValue"),
};
constexpr message_class name_value_map{"NameValueMap", 14, 25, name_value_map_fields};

constexpr message_field result_properties_fields[] = {
    list_of<NameValueMap>(1, 1, "propertyList", name_value_map),
};
constexpr message_class result_properties{"GResultProperties", 14, 26, result_properties_fields};

constexpr message_field result_attributes_fields[] = {
    string(1, 1, "uid"),          string(2, 5, "gid"),        integer(9, "mode"),
    integer(10, "extentPresent"), integer(12, "changeTime"),  string(13, 19, "xattr"),
    integer(15, "extentNumber"),  integer(16, "versionTime"), integer(17, "deletedTime"),
};
constexpr message_class result_attributes{"GResultAttributes", 14, 32, result_attributes_fields};

// The number 26 stands twice: the child by its pair, and an integer by the number alone.
constexpr message_field result_item_fields[] = {
    string(2, 5, "path"),
    string(3, 9, "name"),
    string(24, 51, "objectGuid"),
    integer(26, "resultRefA"),
    child(26, 56, "properties", result_properties),
    integer(33, "size"),
    integer(34, "modifiedTime"),
    string(37, 82, "versionGuid"),
    integer(39, "resultRefB"),
    integer(40, "resultRefC"),
    string(46, 103, "parentGuid"),
    child(50, 110, "attributes", result_attributes),
    integer(101, "accessTime"),
};
constexpr message_class result_item{"GResultItem", 14, 31, result_item_fields};

constexpr message_field result_set_fields[] = {list_of<GResultItem>(1, 1, "resultItems", result_item)};
constexpr message_class result_set{"GResultSet", 14, 33, result_set_fields};

constexpr message_field search_resp_fields[] = {
    list_of<Error>(1, 1, "errors", error),
    child(7, 13, "resultSet", result_set),
};
constexpr message_class search_resp{"ZYSearchResp", 14, 171, search_resp_fields};

// First management exchange: which index server serves a client.

constexpr message_field generic_entity_fields[] = {
    integer(0, 0, "entityType"),
    integer(17, 47, "entityId"),
};
constexpr message_class generic_entity{"GenericEntity", 18, 46, generic_entity_fields};

constexpr message_field client_list_fields[] = {
    list_of<ZyEntities::GenericEntity>(1, 1, "entities", generic_entity),
};
constexpr message_class client_list{"ClientList", 30, 290, client_list_fields};

constexpr message_field client_properties_req_fields[] = {child(1, 1, "clientList", client_list)};
constexpr message_class client_properties_req{"GetClientPropertiesRequest", 30, 800, client_properties_req_fields};

constexpr message_field server_client_fields[] = {integer(0, 0, "serverClientId")};
constexpr message_class server_client{"ServerClient", 18, 4, server_client_fields};

constexpr message_field server_entity_fields[] = {string(2, 5, "serverEntityName")};
constexpr message_class server_entity{"UserEntity", 18, 15, server_entity_fields};

constexpr message_field user_capability_fields[] = {
    child<ZyEntities::UserEntity>(1, 1, "serverEntity", server_entity),
};
constexpr message_class user_capability{"UserCapability", 30, 487, user_capability_fields};

constexpr message_field index_server_fields[] = {
    list_of<App::UserCapability>(3, 3, "capabilities", user_capability),
    child(7, 7, "serverClient", server_client),
};
constexpr message_class index_server{"IndexServer", 30, 486, index_server_fields};

constexpr message_field index_props_fields[] = {child(3, 3, "indexServer", index_server)};
constexpr message_class index_props{"IndexProps", 30, 480, index_props_fields};

constexpr message_field client_props_fields[] = {child(16, 16, "indexProps", index_props)};
constexpr message_class client_props{"ClientProps", 30, 161, client_props_fields};

constexpr message_field client_info_fields[] = {child(12, 12, "clientProps", client_props)};
constexpr message_class client_info{"ClientInfo", 30, 160, client_info_fields};

constexpr message_field client_properties_resp_fields[] = {list_of<App::ClientInfo>(1, 1, "clients", client_info)};
constexpr message_class client_properties_resp{"GetClientPropertiesResponse", 30, 801, client_properties_resp_fields};

// Second management exchange: the cloud id of an index server.

constexpr message_field engine_client_fields[] = {integer(0, 0, "clientId")};
constexpr message_class engine_client{"Client", 18, 4, engine_client_fields};

constexpr message_field engine_client_id_fields[] = {
    string(2, 2, "engineName"),
    child(3, 6, "client", engine_client),
};
constexpr message_class engine_client_id{"AnalyticsEngineClientID", 13, 206, engine_client_id_fields};

constexpr message_field analytics_engine_fields[] = {
    integer(5, "cloudId"),
    integer(19, "engineType"),
};
constexpr message_class analytics_engine{"AnalyticsEngine", 13, 1051, analytics_engine_fields};

constexpr message_field index_server_list_fields[] = {
    list_of<LWGui::AnalyticsEngine>(1, 1, "engines", analytics_engine),
};
constexpr message_class index_server_list{"IndexServerList", 13, 1052, index_server_list_fields};

// Third management exchange: the folder of a share.

constexpr message_field user_entity_fields[] = {string(2, 5, "userName")};
constexpr message_class user_entity{"UserEntity", 18, 15, user_entity_fields};

constexpr message_field sync_folder_req_fields[] = {
    integer(4, 4, "requestFlag"),
    child<ZyEntities::UserEntity>(5, 5, "user", user_entity),
};
constexpr message_class sync_folder_req{"GetSyncWebFolderReq", 30, 401, sync_folder_req_fields};

constexpr message_field folder_fields[] = {integer(0, 0, "folderId")};
constexpr message_class folder{"Folder", 18, 91, folder_fields};

constexpr message_field sync_folder_info_fields[] = {child(1, 1, "folder", folder)};
constexpr message_class sync_folder_info{"SyncWebFolderInfo", 30, 403, sync_folder_info_fields};

constexpr message_field sync_folder_resp_fields[] = {
    list_of<App::SyncWebFolderInfo>(1, 1, "folders", sync_folder_info),
};
constexpr message_class sync_folder_resp{"GetSyncWebFolderResp", 30, 402, sync_folder_resp_fields};

constexpr const message_class* all_classes[] = {
    &search_req,
    &search_resp,
    &client_properties_req,
    &client_properties_resp,
    &engine_client_id,
    &index_server_list,
    &sync_folder_req,
    &sync_folder_resp,
    &search_processing_info,
    &search_parameters,
    &search_filter_set,
    &search_keyword,
    &search_group,
    &field_criteria,
    &field_value,
    &field_value_list,
    &security_group,
    &ci_server,
    &search_server_ref,
    &error,
    &result_set,
    &result_item,
    &result_attributes,
    &result_properties,
    &name_value_map,
    &client_list,
    &generic_entity,
    &client_info,
    &client_props,
    &index_props,
    &index_server,
    &server_client,
    &user_capability,
    &user_entity,
    &server_entity,
    &engine_client,
    &analytics_engine,
    &sync_folder_info,
    &folder,
};

}  // namespace

std::span<const message_class* const> message_classes() {
    return all_classes;
}

const message_class* find_message_class(int group, int number) {
    const auto at = std::ranges::find_if(
        all_classes, [&](const message_class* c) { return c->group == group && c->number == number; });
    return at == std::end(all_classes) ? nullptr : *at;
}

}  // namespace hostkit
