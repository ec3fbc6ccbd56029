// Searches by GUID. Case is never ignored, and the answer carries the path that the index holds.
#include "core/index_iface.h"
#include "core/time_units.h"
#include "query/query_head.h"

int index_iface::browse_by_guid_zysearch(const index_iface_browse_fields& fields, props_list& results) {
    const index_iface_time_t real_time = upper_bound_of(fields);
    KT5ContentIndexing::ZYSearchReq request;
    fill_query_head(request, fields, real_time,
                    {"PARENT_GUID", fields.object_guid, page_size, fields.before_time != 0});
    auto info = processing_info_of(request);
    fill_additional_search_processing_info(&*info, "ENABLE_MIXEDVIEWSEARCH", "true");
    fill_group_options(&*info, fields);
    fill_additional_search_processing_info(&*info, "SORTFIELD", "VERSION_TIME");
    fill_additional_search_processing_info(&*info, "SORT_STYLE", "Ascending");
    return browse_pages(request, results, [&](int& count) {
        return browse_common_zysearch(request, results, count, false, fields, real_time, false);
    });
}

int index_iface::find_by_guid_zysearch(const index_iface_browse_fields& fields, index_iface_props& props) {
    const index_iface_time_t real_time = upper_bound_of(fields);
    KT5ContentIndexing::ZYSearchReq request;
    fill_query_head(request, fields, real_time, {"CONTENTID", fields.object_guid, 1, fields.before_time != 0, true});
    auto info = processing_info_of(request);
    fill_additional_search_processing_info(&*info, "ENABLE_MIXEDVIEWSEARCH", "true");
    fill_additional_search_processing_info(&*info, "SORTFIELD", "VERSION_TIME");
    fill_additional_search_processing_info(&*info, "SORT_STYLE", "desc");
    set_page_start(request, 0);

    int count = 0;
    return find_common_zysearch(request, props, count, false, fields, real_time, false);
}
