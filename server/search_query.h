// A search request, understood and checked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "server/engine.h"
#include "server/search_request.h"

namespace index_server {

/// Columns that a request can leave out. What identifies an object, and its deletion, always comes.
enum search_column : unsigned {
    column_size = 1u << 0,
    column_mtime = 1u << 1,
    column_atime = 1u << 2,
    column_ctime = 1u << 3,
    column_mode = 1u << 4,
    column_owner = 1u << 5,
    column_group = 1u << 6,
    column_extent_flag = 1u << 7,
    column_extent_number = 1u << 8,
    column_extent_size = 1u << 9,
    column_link_target = 1u << 10,
    column_xattr = 1u << 11,
    column_deleted_time = 1u << 12,  ///< the deletion once more, as a named property
};

struct search_query {
    enum class key { none, exact_path, browse_path, parent_guid, content_id, not_backed_up };
    enum class grouping { none, path, extent_number };
    struct range {
        std::int64_t low_s = 0;
        std::int64_t high_s = 0;
    };

    key what = key::none;
    std::string key_value;         ///< the path or the GUID
    bool extents = false;          ///< extents of files are asked for, not objects
    std::optional<range> time;     ///< seconds, both ends included
    bool matches_nothing = false;  ///< a filter that no row of this index can pass
    unsigned data_types = ~0u;     ///< bit n for the type n
    bool all_versions = false;
    bool fold_case = false;
    bool descending = false;
    bool by_extent_number = false;  ///< the order; by version time otherwise
    grouping grouped_by = grouping::none;
    bool group_descending = true;
    std::int64_t group_limit = 1;
    std::int64_t page_size = 0;
    std::int64_t page_start = 0;
    unsigned columns = 0;
    std::string custom_prefix;  ///< before the names of custom properties; empty when they are not asked for
};

/// What is wrong with a request: the code of the error entry and its text.
struct search_fault {
    int code = 0;
    std::string text;
};

/// The text of a response that says what is wrong.
std::string refusal(const std::vector<search_fault>& faults);

/// Reads the request to a share. Whatever it asks for that this index does not know becomes a fault, so that no answer
/// rests on a guess; the query is usable only without faults.
std::vector<search_fault> read_search_request(const search_request& request, const share& target, search_query& query);

}  // namespace index_server
