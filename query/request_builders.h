// The parts that all search requests share. Exceptions of the message classes pass through.
#pragma once

#include <string>
#include <vector>

#include "host/message_classes.h"

using filter_list = std::vector<KT5ContentIndexing::FieldValue>;

/// Length of a page of a browse.
constexpr int page_size = 1000;

/// Fills everything but `processingInfo` and `queryGroups`.
void fill_common1(KT5ContentIndexing::ZYSearchReq& request, unsigned long subclient_id, int cloud_id,
                  const std::string& server_name);

/// Appends a range filter; both ends are always sent, the low one first.
void fill_time_filter(filter_list* filters, const std::string& field_name, long long high, long long low);

/// Appends a filter on one value.
void fill_string_filter(filter_list* filters, const std::string& field_name, const std::string& value, int mode);

/// Appends the filter on the object types.
void fill_data_type(filter_list* filters);

/// Appends the visibility filter.
void fill_is_visible(filter_list* filters, bool visible);

/// Appends the default options and sets the page length.
void fill_default_search_processing_info(KT5ContentIndexing::SearchProcessingInfo* info, int count, bool all_versions,
                                         bool fast_url, bool is_solr_cloud);

/// Appends one option.
void fill_additional_search_processing_info(KT5ContentIndexing::SearchProcessingInfo* info, const std::string& name,
                                            const std::string& value);
