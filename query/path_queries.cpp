// Searches by path: the children of a directory, page by page, and one object.
#include <cstdio>

#include "core/index_iface.h"
#include "core/time_units.h"
#include "query/message_access.h"
#include "query/request_builders.h"

namespace {

namespace search = message_fields;

constexpr int exact_match = 2;
constexpr int group_mode = 2;

std::string group_key(bool is_solr_cloud, unsigned long subclient_id) {
    char text[32];
    snprintf(text, 31, is_solr_cloud ? "FilePathHash_%lu" : "zyurl_%lu", subclient_id);
    text[31] = '\0';
    return text;
}

}  // namespace

// Everything that a find and a browse ask alike, up to the default options. The range goes in only when the caller gave
// one; without it the deletion time decides what counts at the asked moment.
void index_iface::fill_path_head(KT5ContentIndexing::ZYSearchReq& request, const index_iface_browse_fields& fields,
                                 index_iface_time_t real_time, const std::string& filter_name, int page_length) const {
    fill_common1(request, subclient_id, cloud_id, index_server_name);
    auto filter_set = child_to_write(request, search::ZYSearchReq::filterSet);
    auto query_groups =
        list_to_write<KT5ContentIndexing::ZYSearchGroup>(*filter_set, search::SearchFilterSet::queryGroups);
    KT5ContentIndexing::ZYSearchGroup group;
    set_number(group, search::ZYSearchGroup::groupMode, group_mode);
    auto criteria = child_to_write(group, search::ZYSearchGroup::criteria);
    set_number(*criteria, search::FieldCriteria::criteriaMode, group_mode);
    auto filters = list_to_write<KT5ContentIndexing::FieldValue>(*criteria, search::FieldCriteria::criteriaFields);
    if (fields.before_time != 0 || fields.after_time != 0) {
        fill_time_filter(&*filters, "VTIME_SEC", real_time / ns_per_second, fields.after_time);
    }
    fill_is_visible(&*filters, true);
    const std::string path = fields.path;
    fill_string_filter(&*filters, filter_name, path == "/" ? sync_folder : sync_folder + path, exact_match);
    fill_data_type(&*filters);
    query_groups->push_back(group);

    auto info = child_to_write<KT5ContentIndexing::SearchProcessingInfo>(request, search::ZYSearchReq::processingInfo);
    fill_default_search_processing_info(&*info, page_length, fields.before_time != 0, false, is_solr_cloud);
}

int index_iface::browse_by_path_zysearch(const index_iface_browse_fields& fields, props_list& results) {
    const index_iface_time_t real_time = upper_bound_of(fields);
    KT5ContentIndexing::ZYSearchReq request;
    fill_path_head(request, fields, real_time, "BROWSE_PATH", page_size);
    auto info = child_to_write<KT5ContentIndexing::SearchProcessingInfo>(request, search::ZYSearchReq::processingInfo);
    fill_additional_search_processing_info(&*info, "ENABLE_MIXEDVIEWSEARCH", "true");
    if (!caseSensitiveSearch) {
        fill_additional_search_processing_info(&*info, "CASE_INSENSITIVE", "true");
    }
    if (fields.before_time != 0) {  // of all versions of a path, the newest inside the range
        fill_additional_search_processing_info(&*info, "GROUP_RESULTS_BY", group_key(is_solr_cloud, subclient_id));
        fill_additional_search_processing_info(&*info, "SORT_GROUPS_BY", "VERSION_TIME");
        fill_additional_search_processing_info(&*info, "SORT_ORDER_GROUPS_BY", "desc");
        fill_additional_search_processing_info(&*info, "GROUP_LIMIT", "1");
    }
    fill_additional_search_processing_info(&*info, "SORTFIELD", "VERSION_TIME");
    fill_additional_search_processing_info(&*info, "SORT_STYLE", "Ascending");

    int ret = 0;
    int count = page_size;
    for (int offset = 0; count >= page_size; offset += page_size) {  // a full page may be followed by an empty one
        set_number(*info, search::SearchProcessingInfo::pageStart, offset);
        ret = browse_common_zysearch(request, results, count, false, fields, real_time, false);
        if (ret != 0) {
            delete_browse_memory(results);
            break;
        }
    }
    return ret;
}

int index_iface::find_by_path_zysearch(const index_iface_browse_fields& fields, index_iface_props& props) {
    const index_iface_time_t real_time = upper_bound_of(fields);
    KT5ContentIndexing::ZYSearchReq request;
    fill_path_head(request, fields, real_time, "EXACT_PATH", 1);
    auto info = child_to_write<KT5ContentIndexing::SearchProcessingInfo>(request, search::ZYSearchReq::processingInfo);
    fill_additional_search_processing_info(&*info, "ENABLE_MIXEDVIEWSEARCH", "true");
    fill_additional_search_processing_info(&*info, "SORTFIELD", "VERSION_TIME");
    fill_additional_search_processing_info(&*info, "SORT_STYLE", "desc");
    if (!caseSensitiveSearch) {
        fill_additional_search_processing_info(&*info, "CASE_INSENSITIVE", "true");
    }
    set_number(*info, search::SearchProcessingInfo::pageStart, 0);

    int count = 0;
    const int ret = find_common_zysearch(request, props, count, false, fields, real_time, false);
    if (ret == 0) {
        props.path = fields.path;  // in the caller's own spelling, also when case was ignored
    }
    return ret;
}
