// Builds the parts that all search requests share. The codes of the two value lists and the column lists are the index
// server's; they are sent as they stand.
#include "query/request_builders.h"

#include <initializer_list>

namespace {

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
    filter.setstring(1, 1, string_to_zystring(field_name));
    filter.setint64(3, 6, match_mode);
    auto field_values = filter.getObjectAccessor(true, true, 2, 5, 14, 127);
    auto list = field_values->getliststring(1, 1, true);
    for (const std::string& value : values) {
        list->push_back(string_to_zystring(value));
    }
    return filter;
}

}  // namespace

void fill_common1(KT5ContentIndexing::ZYSearchReq& request, unsigned long subclient_id, int cloud_id,
                  const std::string& server_name) {
    request.setint64(6, 6, 4);
    auto filter_set = request.getObjectAccessor(true, true, 2, 2, 14, 157);

    KT5ContentIndexing::ZYSearchGroup state_group;
    state_group.setint64(3, 3, group_mode);
    auto criteria = state_group.getObjectAccessor(true, true, 4, 4, 14, 150);
    criteria->setint64(3, 6, group_mode);
    criteria->getlistobject<KT5ContentIndexing::FieldValue>(2, 5, true)
        ->push_back(
            make_filter("CISTATE", match_any_of,
                        {"0", "1", "2", "12", "13", "14", "15", "16", "17", "1014", "1016", "2016", "3334", "3335"}));
    filter_set->getlistobject<KT5ContentIndexing::ZYSearchGroup>(4, 4, true)->push_back(state_group);

    auto keyword = filter_set->getObjectAccessor(true, true, 1, 1, 14, 154);
    keyword->setstring(1, 1, string_to_zystring("*"));
    keyword->setint64(2, 5, 2);

    KT5ContentIndexing::ZYOrbitSecurityGroup security;
    security.getlistint(2, 2, true)->push_back(static_cast<int>(subclient_id));
    KT5ContentIndexing::FieldValue scope;  // a name alone: neither values nor a mode
    scope.setstring(1, 1, string_to_zystring("SubClient"));
    security.getlistobject<KT5ContentIndexing::FieldValue>(7, 7, true)->push_back(scope);
    filter_set->getlistobject<KT5ContentIndexing::ZYOrbitSecurityGroup>(7, 7, true)->push_back(security);

    KT5ContentIndexing::CIServer server;
    server.setint64(2, 2, cloud_id);
    request.getlistobject<KT5ContentIndexing::CIServer>(7, 7, true)->push_back(server);

    request.getObjectAccessor(true, true, 8, 8, 14, 1)->setstring(2, 5, string_to_zystring(server_name));
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
    info->setint64(1, 1, count);
}

void fill_additional_search_processing_info(KT5ContentIndexing::SearchProcessingInfo* info, const std::string& name,
                                            const std::string& value) {
    KT5ContentIndexing::SearchParameters parameter;
    parameter.setstring(1, 1, string_to_zystring(name));
    parameter.setstring(2, 5, string_to_zystring(value));
    info->getlistobject<KT5ContentIndexing::SearchParameters>(5, 5, true)->push_back(parameter);
}
