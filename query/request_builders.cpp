// Builds the parts that all search requests share. The codes of the two value lists and the column lists are the index
// server's; they are sent as they stand.
#include "query/request_builders.h"

#include <initializer_list>

#include "query/message_access.h"

namespace {

namespace fields = message_fields;

constexpr int match_any_of = 0;
constexpr int match_value_or_range = 2;
constexpr int group_mode = 2;

constexpr char cloud_columns[] =
    "BACKUPTIME,SIZEINKB,MODIFIEDTIME,CONTENTID,ZY_TURBO_GUID,AFILEID,AFILEOFFSET,REALMNO,FILE_NAME,FILE_FOLDER,DATA_"
    "TYPE,APPID,GLOBAL_TICKS,PARENT_GUID,CISTATE,IS_EXTENT_PRESENT,ENTITY_MODE,FILE_CHANGE_TIME,OWNER,FILE_READACLS,"
    "FILE_ACCESSEDTIME,DATE_DELETED,EXTENT_NUMBER,VERSION_TIME,EXTENT_SIZE,LINK_TARGET,cust_*,EXTENDED_ATTR";

// Extraction cuts the length of this list's property prefix.
constexpr char columns[] =
    "BACKUPTIME,SIZEINKB,MODIFIEDTIME,CONTENTID,ZY_TURBO_GUID,AFILEID,AFILEOFFSET,REALMNO,FILE_NAME,FILE_FOLDER,DATA_"
    "TYPE,APPID,GLOBAL_TICKS,PARENT_GUID,CISTATE,IS_EXTENT_PRESENT,ENTITY_MODE,FILE_CHANGE_TIME,custom_*,OWNER,FILE_"
    "READACLS,FILE_ACCESSEDTIME,DATE_DELETED,EXTENT_NUMBER,VERSION_TIME,EXTENT_SIZE,DELETED_TIME,LINK_TARGET,EXTENDED_"
    "ATTR";

KT5ContentIndexing::FieldValue make_filter(const std::string& field_name, int match_mode,
                                           std::initializer_list<std::string> values) {
    KT5ContentIndexing::FieldValue filter;
    set_text(filter, fields::FieldValue::fieldName, field_name);
    set_number(filter, fields::FieldValue::matchMode, match_mode);
    constexpr auto values_field = fields::FieldValueList::valueList;
    auto list = child_to_write(filter, fields::FieldValue::fieldValues)
                    ->getliststring(values_field.number, values_field.tag, true);
    for (const std::string& value : values) {
        list->push_back(string_to_zystring(value));
    }
    return filter;
}

}  // namespace

void fill_common1(KT5ContentIndexing::ZYSearchReq& request, unsigned long subclient_id, int cloud_id,
                  const std::string& server_name) {
    set_number(request, fields::ZYSearchReq::searchMode, 4);
    auto filter_set = child_to_write(request, fields::ZYSearchReq::filterSet);

    KT5ContentIndexing::ZYSearchGroup state_group;
    set_number(state_group, fields::ZYSearchGroup::groupMode, group_mode);
    auto criteria = child_to_write(state_group, fields::ZYSearchGroup::criteria);
    set_number(*criteria, fields::FieldCriteria::criteriaMode, group_mode);
    list_to_write<KT5ContentIndexing::FieldValue>(*criteria, fields::FieldCriteria::criteriaFields)
        ->push_back(
            make_filter("CISTATE", match_any_of,
                        {"0", "1", "2", "12", "13", "14", "15", "16", "17", "1014", "1016", "2016", "3334", "3335"}));
    list_to_write<KT5ContentIndexing::ZYSearchGroup>(*filter_set, fields::SearchFilterSet::baseGroups)
        ->push_back(state_group);

    auto keyword = child_to_write(*filter_set, fields::SearchFilterSet::keyword);
    set_text(*keyword, fields::SearchKeyword::keywordText, "*");
    set_number(*keyword, fields::SearchKeyword::keywordMode, 2);

    KT5ContentIndexing::ZYOrbitSecurityGroup security;
    constexpr auto ids_field = fields::ZYOrbitSecurityGroup::subclientIds;
    security.getlistint(ids_field.number, ids_field.tag, true)->push_back(static_cast<int>(subclient_id));
    KT5ContentIndexing::FieldValue scope;  // a name alone: neither values nor a mode
    set_text(scope, fields::FieldValue::fieldName, "SubClient");
    list_to_write<KT5ContentIndexing::FieldValue>(security, fields::ZYOrbitSecurityGroup::scopeFields)
        ->push_back(scope);
    list_to_write<KT5ContentIndexing::ZYOrbitSecurityGroup>(*filter_set, fields::SearchFilterSet::securityGroups)
        ->push_back(security);

    KT5ContentIndexing::CIServer server;
    set_number(server, fields::CIServer::serverCloudId, cloud_id);
    list_to_write<KT5ContentIndexing::CIServer>(request, fields::ZYSearchReq::servers)->push_back(server);

    set_text(*child_to_write(request, fields::ZYSearchReq::serverRef), fields::SearchServerRef::serverName,
             server_name);
}

void fill_time_filter(filter_list* filters, const std::string& field_name, long long high, long long low) {
    filters->push_back(make_filter(field_name, match_value_or_range, {std::to_string(low), std::to_string(high)}));
}

void fill_string_filter(filter_list* filters, const std::string& field_name, const std::string& value, int mode) {
    filters->push_back(make_filter(field_name, mode, {value}));
}

void fill_data_type(filter_list* filters) {
    filters->push_back(make_filter("DATA_TYPE", match_any_of, {"1", "2", "3", "4", "5", "6", "7", "8"}));
}

void fill_is_visible(filter_list* filters, bool visible) {
    filters->push_back(make_filter("IS_VISIBLE", match_value_or_range, {visible ? "true" : "false"}));
}

void fill_default_search_processing_info(KT5ContentIndexing::SearchProcessingInfo* info, int count, bool all_versions,
                                         bool fast_url, bool is_solr_cloud) {
    fill_additional_search_processing_info(info, "ENABLE_HIGHLIGHTING", "false");
    fill_additional_search_processing_info(info, "ENABLE_NAVIGATION", "off");
    fill_additional_search_processing_info(info, "ENABLE_FOLDERBROWSE", "off");
    fill_additional_search_processing_info(info, "ENABLE_DEFAULTFACETS", "false");
    if (all_versions) {
        fill_additional_search_processing_info(info, "ENABLE_ALL_VERSIONS", "true");
    }
    std::string field_list = fast_url ? "FAST_URL," : "";
    field_list += is_solr_cloud ? cloud_columns : columns;
    fill_additional_search_processing_info(info, "RESPONSE_FIELD_LIST", field_list);
    fill_additional_search_processing_info(info, "NONWINDOWS_PLATFORM", "true");
    set_number(*info, fields::SearchProcessingInfo::pageSize, count);
}

void fill_additional_search_processing_info(KT5ContentIndexing::SearchProcessingInfo* info, const std::string& name,
                                            const std::string& value) {
    KT5ContentIndexing::SearchParameters parameter;
    set_text(parameter, fields::SearchParameters::paramName, name);
    set_text(parameter, fields::SearchParameters::paramValue, value);
    list_to_write<KT5ContentIndexing::SearchParameters>(*info, fields::SearchProcessingInfo::parameters)
        ->push_back(parameter);
}
