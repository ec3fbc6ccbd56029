// The head of a search request.
#include "query/query_head.h"

#include <cstdio>

#include "core/time_units.h"

namespace {
constexpr int exact_match = 2;
}

// The range goes in only when the caller gave one; without it the deletion time decides what counts at the asked
// moment.
void index_iface::fill_query_head(KT5ContentIndexing::ZYSearchReq& request, const index_iface_browse_fields& fields,
                                  index_iface_time_t real_time, const query_key& key) const {
    fill_common1(request, subclient_id, cloud_id, index_server_name);
    add_query_group(request, [&](filter_list* filters) {
        if (fields.before_time != 0 || fields.after_time != 0) {
            fill_time_filter(filters, "VTIME_SEC", real_time / ns_per_second, fields.after_time);
        }
        fill_is_visible(filters, true);
        fill_string_filter(filters, key.field_name, key.value, exact_match);
        fill_data_type(filters);
    });
    fill_default_search_processing_info(&*processing_info_of(request), key.page_length, key.all_versions, key.fast_url,
                                        is_solr_cloud);
}

// Of all versions of a path, the newest inside the range.
void index_iface::fill_group_options(KT5ContentIndexing::SearchProcessingInfo* info,
                                     const index_iface_browse_fields& fields) const {
    if (fields.before_time == 0) {
        return;
    }
    char group_key[32];
    snprintf(group_key, 31, is_solr_cloud ? "FilePathHash_%lu" : "zyurl_%lu", subclient_id);
    group_key[31] = '\0';
    fill_additional_search_processing_info(info, "GROUP_RESULTS_BY", group_key);
    fill_additional_search_processing_info(info, "SORT_GROUPS_BY", "VERSION_TIME");
    fill_additional_search_processing_info(info, "SORT_ORDER_GROUPS_BY", "desc");
    fill_additional_search_processing_info(info, "GROUP_LIMIT", "1");
}

std::string index_iface::path_in_index(const char* path) const {
    const std::string text = path;
    return text == "/" ? sync_folder : sync_folder + text;
}
