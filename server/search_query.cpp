// Reads search requests. Every name and value is looked up in the tables below; what is not there is a fault.
#include "server/search_query.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <set>
#include <string_view>

#include "host/message_classes.h"

namespace index_server {

namespace {

constexpr std::int64_t max_page_size = 10000;
constexpr int keyword_mode = 2;
constexpr int and_mode = 2;
constexpr int list_mode = 0;
constexpr int value_mode = 2;
constexpr int no_value_mode = 4;
// The state that every row of this index is in, as the requests' list of admissible states counts them.
constexpr std::string_view row_state = "1";

/// Options whose effect is fixed, with the one value that is served.
constexpr std::array<std::pair<std::string_view, std::string_view>, 6> fixed_options{{
    {"ENABLE_HIGHLIGHTING", "false"},
    {"ENABLE_NAVIGATION", "off"},
    {"ENABLE_FOLDERBROWSE", "off"},
    {"ENABLE_DEFAULTFACETS", "false"},
    {"NONWINDOWS_PLATFORM", "true"},
    {"ENABLE_MIXEDVIEWSEARCH", "true"},
}};

/// Columns by the names of the field list. Those with 0 always come or have nothing behind them in this index.
constexpr std::array<std::pair<std::string_view, unsigned>, 29> column_names{{
    {"FAST_URL", 0},
    {"BACKUPTIME", 0},
    {"SIZEINKB", column_size},
    {"MODIFIEDTIME", column_mtime},
    {"CONTENTID", 0},
    {"ZY_TURBO_GUID", 0},
    {"AFILEID", 0},
    {"AFILEOFFSET", 0},
    {"REALMNO", 0},
    {"FILE_NAME", 0},
    {"FILE_FOLDER", 0},
    {"DATA_TYPE", 0},
    {"APPID", 0},
    {"GLOBAL_TICKS", 0},
    {"PARENT_GUID", 0},
    {"CISTATE", 0},
    {"IS_EXTENT_PRESENT", column_extent_flag},
    {"ENTITY_MODE", column_mode},
    {"FILE_CHANGE_TIME", column_ctime},
    {"OWNER", column_owner},
    {"FILE_READACLS", column_group},
    {"FILE_ACCESSEDTIME", column_atime},
    {"DATE_DELETED", 0},
    {"EXTENT_NUMBER", column_extent_number},
    {"VERSION_TIME", 0},
    {"EXTENT_SIZE", column_extent_size},
    {"DELETED_TIME", column_deleted_time},
    {"LINK_TARGET", column_link_target},
    {"EXTENDED_ATTR", column_xattr},
}};

template <class Number>
bool parse_number(std::string_view text, Number& value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

/// One reading of one request.
class request_reader {
public:
    request_reader(const share& target, search_query& query) : target_(target), query_(query) {}

    std::vector<search_fault> read(const search_request& request) {
        expect("searchMode", request.search_mode, 4);
        read_filters(request);
        read_processing(request);
        if (query_.what == search_query::key::none) fault(EINVAL, "the request does not say what it looks for");
        check_combination();
        return std::move(faults_);
    }

private:
    void fault(int code, std::string text) { faults_.push_back({code, std::move(text)}); }

    void unsupported(std::string_view name, std::string_view value) {
        fault(EOPNOTSUPP,
              "not supported: " + std::string(name.substr(0, 200)) + " " + std::string(value.substr(0, 200)));
    }

    /// The one value that a number may have where there is one.
    void expect(std::string_view name, const std::optional<std::int64_t>& value, std::int64_t only) {
        if (value && *value != only) unsupported(name, std::to_string(*value));
    }

    /// All groups and all their filters must hold.
    void read_filters(const search_request& request) {
        if (!request.keyword.empty() && request.keyword != "*") unsupported("keywordText", request.keyword);
        expect("keywordMode", request.keyword_mode, keyword_mode);
        for (const std::int64_t subclient : request.subclient_ids) {
            if (subclient != target_.subclient_id) fault(EACCES, "the request names another share");
        }
        for (const search_request::filter& scope : request.scopes) {
            if (scope.name != "SubClient") unsupported("scope", scope.name);
        }
        for (const std::int64_t mode : request.group_modes)
            expect("groupMode", mode, and_mode);
        for (const std::int64_t mode : request.criteria_modes)
            expect("criteriaMode", mode, and_mode);
        for (const search_request::filter& filter : request.filters)
            read_filter(filter);
    }

    void read_filter(const search_request::filter& filter) {
        const auto& [name, mode, values] = filter;
        if (!fields_.insert(name).second) fault(EINVAL, "a field stands twice: " + name);
        const bool list = name == "CISTATE" || name == "DATA_TYPE";
        const bool absence = name == "AFILEID";
        expect(name, mode, list ? list_mode : absence ? no_value_mode : value_mode);
        if (!mode) return fault(EINVAL, "a field without a mode: " + name);
        if (values.empty()) return fault(EINVAL, "a field without values: " + name);

        if (name == "CISTATE") {
            if (std::find(values.begin(), values.end(), row_state) == values.end()) query_.matches_nothing = true;
        } else if (name == "DATA_TYPE") {
            read_data_types(values);
        } else if (name == "VTIME_SEC") {
            read_range(values);
        } else if (values.size() != 1) {
            fault(EINVAL, "too many values: " + name);
        } else if (name == "IS_VISIBLE") {
            read_visibility(values.front());
        } else if (name == "EXACT_PATH") {
            read_key(search_query::key::exact_path, values.front());
        } else if (name == "BROWSE_PATH") {
            read_key(search_query::key::browse_path, values.front());
        } else if (name == "PARENT_GUID") {
            read_key(search_query::key::parent_guid, values.front());
        } else if (name == "CONTENTID") {
            read_key(search_query::key::content_id, values.front());
        } else if (absence) {
            if (values.front() != "*") unsupported(name, values.front());
            read_key(search_query::key::not_backed_up, {});
        } else {
            unsupported("field", name);
        }
    }

    void read_data_types(const std::vector<std::string>& values) {
        query_.data_types = 0;
        for (const std::string& value : values) {
            unsigned type = 0;
            if (!parse_number(value, type) || type < 1 || type > 31) return unsupported("DATA_TYPE", value);
            query_.data_types |= 1u << type;
        }
    }

    void read_range(const std::vector<std::string>& values) {
        search_query::range range;
        if (values.size() != 2 || !parse_number(values[0], range.low_s) || !parse_number(values[1], range.high_s))
            return fault(EINVAL, "VTIME_SEC takes a low and a high number of seconds");
        query_.time = range;
    }

    void read_visibility(const std::string& value) {
        // No row of this index is hidden.
        if (value == "false")
            query_.matches_nothing = true;
        else if (value != "true")
            unsupported("IS_VISIBLE", value);
    }

    void read_key(search_query::key what, const std::string& value) {
        if (query_.what != search_query::key::none) fault(EINVAL, "the request looks for two things at once");
        query_.what = what;
        query_.key_value = value;
    }

    /// Refuses what is understood piece by piece but has no meaning together.
    void check_combination() {
        using key = search_query::key;
        using grouping = search_query::grouping;
        const bool all_extents = query_.what == key::not_backed_up;
        if (query_.extents && !all_extents && query_.what != key::parent_guid)
            unsupported("ENABLE_EXTENT_SEARCH", "without PARENT_GUID or AFILEID");
        if (!query_.extents && all_extents) unsupported("AFILEID", "without ENABLE_EXTENT_SEARCH");
        if (!query_.extents && query_.by_extent_number) unsupported("SORTFIELD", "EXTENT_NUMBER of objects");
        const bool grouped = query_.grouped_by != grouping::none;
        const bool extent_groups = query_.grouped_by == grouping::extent_number;
        if (grouped && (query_.what == key::content_id || extent_groups != query_.extents))
            unsupported("GROUP_RESULTS_BY", "in this search");
        if (all_extents && (grouped || query_.time || query_.all_versions || parameters_.count("SORTFIELD") != 0))
            unsupported("AFILEID", "with a range, versions, groups or an order");
    }

    void read_processing(const search_request& request) {
        query_.page_size = request.page_size;
        query_.page_start = request.page_start;
        if (query_.page_size < 1 || query_.page_size > max_page_size)
            fault(EINVAL, "pageSize is not between 1 and " + std::to_string(max_page_size));
        if (query_.page_start < 0) fault(EINVAL, "pageStart is below 0");
        for (const auto& [name, value] : request.parameters) {
            if (!parameters_.insert(name).second) fault(EINVAL, "a parameter stands twice: " + name);
            read_parameter(name, value);
        }
        if (parameters_.count("RESPONSE_FIELD_LIST") == 0) query_.columns = ~0u & ~column_deleted_time;
    }

    void read_parameter(const std::string& name, const std::string& value) {
        for (const auto& [fixed, served] : fixed_options) {
            if (name != fixed) continue;
            if (value != served) unsupported(name, value);
            return;
        }
        if (name == "RESPONSE_FIELD_LIST") return read_columns(value);
        if (name == "ENABLE_ALL_VERSIONS") return read_switch(name, value, "true", "false", query_.all_versions);
        if (name == "CASE_INSENSITIVE") return read_switch(name, value, "true", "false", query_.fold_case);
        if (name == "SORT_STYLE") return read_switch(name, value, "desc", "Ascending", query_.descending);
        if (name == "SORT_ORDER_GROUPS_BY")
            return read_switch(name, value, "desc", "Ascending", query_.group_descending);
        if (name == "GROUP_RESULTS_BY") return read_group_key(value);
        if (name == "GROUP_LIMIT") {
            if (!parse_number(value, query_.group_limit) || query_.group_limit < 1) unsupported(name, value);
            return;
        }
        if (name == "ENABLE_EXTENT_SEARCH") return read_switch(name, value, "true", "false", query_.extents);
        if (name == "SORTFIELD")
            return read_switch(name, value, "EXTENT_NUMBER", "VERSION_TIME", query_.by_extent_number);
        if (name != "SORT_GROUPS_BY" || value != "VERSION_TIME") unsupported(name, value);
    }

    void read_switch(const std::string& name, const std::string& value, const char* on, const char* off, bool& result) {
        if (value != on && value != off) return unsupported(name, value);
        result = value == on;
    }

    void read_group_key(const std::string& value) {
        const std::string id = std::to_string(target_.subclient_id);
        if (value == "EXTENT_NUMBER")
            query_.grouped_by = search_query::grouping::extent_number;
        else if (value == "FilePathHash_" + id || value == "zyurl_" + id)
            query_.grouped_by = search_query::grouping::path;
        else
            unsupported("GROUP_RESULTS_BY", value);
    }

    void read_columns(std::string_view list) {
        while (!list.empty()) {
            const std::size_t comma = std::min(list.find(','), list.size());
            read_column(list.substr(0, comma));
            list.remove_prefix(std::min(comma + 1, list.size()));
        }
    }

    void read_column(std::string_view name) {
        if (name == "custom_*" || name == "cust_*") {
            query_.custom_prefix = name.substr(0, name.size() - 1);
            return;
        }
        // Requests mostly name the columns in the table's order.
        for (std::size_t tried = 0; tried < column_names.size(); ++tried) {
            const auto& [known, column] = column_names[next_column_++ % column_names.size()];
            if (name != known) continue;
            query_.columns |= column;
            return;
        }
        unsupported("RESPONSE_FIELD_LIST", name);
    }

    const share& target_;
    search_query& query_;
    std::set<std::string_view> fields_;
    std::set<std::string_view> parameters_;
    std::size_t next_column_ = 0;
    std::vector<search_fault> faults_;
};

}  // namespace

std::string refusal(const std::vector<search_fault>& faults) {
    KT5ContentIndexing::ZYSearchResp response;
    const auto errors = response.getlistobject<KT5ContentIndexing::Error>(1, 1, true);
    for (const search_fault& fault : faults) {
        KT5ContentIndexing::Error& error = errors->emplace_back();
        error.setint64(1, 1, fault.code);
        error.setstring(2, 2, fault.text);
    }
    std::string text;
    response.serialize(text, false);
    return text;
}

std::vector<search_fault> read_search_request(const search_request& request, const share& target, search_query& query) {
    query = search_query{};
    return request_reader(target, query).read(request);
}

}  // namespace index_server
