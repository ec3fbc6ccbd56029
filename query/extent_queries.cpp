// Searches for extents: those of one file at a moment, and those of the share that have no backup data yet.
#include <ctime>

#include "core/index_iface.h"
#include "core/time_units.h"
#include "query/query_head.h"

namespace {
constexpr int match_no_value = 4;  // with "*": what has nothing in the column
}

// The server groups by extent number and keeps the newest version of each.
int index_iface::browse_file_extents_zysearch(const index_iface_browse_fields& fields, props_list& results) {
    const index_iface_time_t real_time = upper_bound_of(fields);
    KT5ContentIndexing::ZYSearchReq request;
    fill_query_head(request, fields, real_time, {"PARENT_GUID", fields.object_guid});
    auto info = processing_info_of(request);
    fill_additional_search_processing_info(&*info, "ENABLE_EXTENT_SEARCH", "true");
    fill_additional_search_processing_info(&*info, "GROUP_RESULTS_BY", "EXTENT_NUMBER");
    fill_additional_search_processing_info(&*info, "SORT_GROUPS_BY", "VERSION_TIME");
    fill_additional_search_processing_info(&*info, "SORT_ORDER_GROUPS_BY", "desc");
    fill_additional_search_processing_info(&*info, "GROUP_LIMIT", "1");
    fill_additional_search_processing_info(&*info, "SORTFIELD", "EXTENT_NUMBER");
    fill_additional_search_processing_info(&*info, "SORT_STYLE", "Ascending");
    return browse_pages(request, results, [&](int& count) {
        return browse_common_zysearch(request, results, count, true, fields, real_time, false);
    });
}

int index_iface::browse_extents_not_backedup_zysearch(props_list& results) {
    KT5ContentIndexing::ZYSearchReq request;
    fill_common1(request, subclient_id, cloud_id, index_server_name);
    add_query_group(request, [](filter_list* filters) {
        fill_is_visible(filters, true);
        fill_string_filter(filters, "AFILEID", "*", match_no_value);
        fill_data_type(filters);
    });
    auto info = processing_info_of(request);
    fill_default_search_processing_info(&*info, page_size, false, false, is_solr_cloud);
    fill_additional_search_processing_info(&*info, "ENABLE_EXTENT_SEARCH", "true");
    return browse_pages(request, results, [&](int& count) {
        index_iface_browse_fields fields;
        fields.before_time = time(nullptr);
        fields.after_time = 0;
        return browse_common_zysearch(request, results, count, true, fields, 0, true);  // deleted ones are listed too
    });
}
