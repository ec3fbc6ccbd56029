// What all searches of the library have in common: the key that they look for, the head of their requests and the
// paging.
#pragma once

#include <string>

#include "core/index_iface.h"
#include "query/message_access.h"
#include "query/request_builders.h"

/// What a search looks for, and how its answer is to come.
struct index_iface::query_key {
    std::string field_name;
    std::string value;
    int page_length = page_size;
    bool all_versions = false;
    bool fast_url = false;
};

inline message_object_handle<KT5ContentIndexing::SearchProcessingInfo> processing_info_of(
    KT5ContentIndexing::ZYSearchReq& request) {
    return child_to_write<KT5ContentIndexing::SearchProcessingInfo>(request,
                                                                    message_fields::ZYSearchReq::processingInfo);
}

inline void set_page_start(KT5ContentIndexing::ZYSearchReq& request, int offset) {
    set_number(*processing_info_of(request), message_fields::SearchProcessingInfo::pageStart, offset);
}

/// A new group for `queryGroups`, whose filters `fill` appends.
template <class Fill>
void add_query_group(KT5ContentIndexing::ZYSearchReq& request, Fill fill) {
    constexpr int group_mode = 2;
    auto filter_set = child_to_write(request, message_fields::ZYSearchReq::filterSet);
    auto query_groups =
        list_to_write<KT5ContentIndexing::ZYSearchGroup>(*filter_set, message_fields::SearchFilterSet::queryGroups);
    KT5ContentIndexing::ZYSearchGroup group;
    set_number(group, message_fields::ZYSearchGroup::groupMode, group_mode);
    auto criteria = child_to_write(group, message_fields::ZYSearchGroup::criteria);
    set_number(*criteria, message_fields::FieldCriteria::criteriaMode, group_mode);
    auto filters =
        list_to_write<KT5ContentIndexing::FieldValue>(*criteria, message_fields::FieldCriteria::criteriaFields);
    fill(&*filters);
    query_groups->push_back(group);
}

/// Asks page after page until one is not full; an exactly full last page costs one empty exchange. `ask_page` takes the
/// count to fill. On failure the whole list is emptied.
template <class Page>
int index_iface::browse_pages(KT5ContentIndexing::ZYSearchReq& request, props_list& results, Page ask_page) {
    int count = page_size;
    for (int offset = 0; count >= page_size; offset += page_size) {
        set_page_start(request, offset);
        count = 0;
        if (const int ret = ask_page(count); ret != 0) {
            delete_browse_memory(results);
            return ret;
        }
    }
    return 0;
}
