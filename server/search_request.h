// A search request as its text has it, before anything is judged. It is read straight from the text: a tree of messages
// would cost more than most searches.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace index_server {

struct search_request {
    /// One field that rows must match.
    struct filter {
        std::string name;
        std::optional<std::int64_t> mode;
        std::vector<std::string> values;
    };
    struct parameter {
        std::string name;
        std::string value;
    };

    std::optional<std::int64_t> search_mode;
    std::int64_t page_size = 0;
    std::int64_t page_start = 0;
    std::vector<parameter> parameters;
    std::string keyword;
    std::optional<std::int64_t> keyword_mode;
    std::vector<std::int64_t> group_modes;     ///< of all groups of filters that name one
    std::vector<std::int64_t> criteria_modes;  ///< of what the groups hold, likewise
    std::vector<filter> filters;               ///< of all groups
    std::vector<std::int64_t> subclient_ids;   ///< of all security groups
    std::vector<filter> scopes;                ///< likewise
};

/// The request that a text holds, or nothing when the text is no search request.
std::optional<search_request> read_search_text(std::string_view text);

}  // namespace index_server
