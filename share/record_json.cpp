// One table of fields serves both directions, so that what is written can be read.
#include "share/record_json.h"

#include <array>
#include <boost/json.hpp>
#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>
#include <variant>

#include "share/encoding.h"

namespace share_host {
namespace {

namespace json = boost::json;
using props_t = index_iface_props;

/// A number with the flag that says that it is set.
struct flagged {
    std::uint32_t props_t::*value;
    bool props_t::*flag;
};

using field_pointer =
    std::variant<std::string props_t::*, std::int32_t props_t::*, long props_t::*, long long props_t::*, flagged>;

struct field {
    std::string_view name;
    field_pointer pointer;
};

const std::array<field, 21> fields_of_props = {{
    {"name", &props_t::name},
    {"path", &props_t::path},
    {"version_guid", &props_t::version_guid},
    {"object_guid", &props_t::object_guid},
    {"parent_guid", &props_t::parent_guid},
    {"mode", flagged{&props_t::mode, &props_t::mode_valid}},
    {"size", &props_t::size},
    {"uid", flagged{&props_t::uid, &props_t::uid_valid}},
    {"gid", flagged{&props_t::gid, &props_t::gid_valid}},
    {"atime", &props_t::atime},
    {"ctime", &props_t::ctime},
    {"mtime", &props_t::mtime},
    {"dtime", &props_t::dtime},
    {"vtime", &props_t::vtime},
    {"vtime_sec", &props_t::vtime_sec},
    {"extent_type", &props_t::extent_type},
    {"extent_size", &props_t::extent_size},
    {"link_target", &props_t::link_target},
    {"is_extent", &props_t::is_extent},
    {"extent_number", &props_t::extent_number},
    {"xattr", &props_t::xattr},
}};

const field* field_named(std::string_view name) {
    for (const field& candidate : fields_of_props) {
        if (candidate.name == name) return &candidate;
    }
    return nullptr;
}

template <class Number>
Number set_number(const json::value& value, const std::string& name) {
    constexpr auto low = static_cast<long long>(std::numeric_limits<Number>::min());
    constexpr auto high = static_cast<long long>(std::numeric_limits<Number>::max());
    const long long number = number_in_range(value, name, low, high);
    if (std::is_signed_v<Number> && number == -1) throw bad_request(name + " is -1, which means not set");
    return static_cast<Number>(number);
}

void read_field(props_t& props, const field& target, const json::value& value) {
    const std::string name(target.name);
    std::visit(
        [&](auto pointer) {
            using Pointer = decltype(pointer);
            if constexpr (std::is_same_v<Pointer, flagged>) {
                props.*pointer.value = set_number<std::uint32_t>(value, name);
                props.*pointer.flag = true;
            } else if constexpr (std::is_same_v<Pointer, std::string props_t::*>) {
                props.*pointer = carried_text(value, name);
            } else {
                props.*pointer = set_number<std::remove_reference_t<decltype(props.*pointer)>>(value, name);
            }
        },
        target.pointer);
}

void write_field(json::object& result, const props_t& props, const field& source) {
    std::visit(
        [&](auto pointer) {
            using Pointer = decltype(pointer);
            if constexpr (std::is_same_v<Pointer, flagged>) {
                if (props.*pointer.flag) result[source.name] = props.*pointer.value;
            } else if constexpr (std::is_same_v<Pointer, std::string props_t::*>) {
                if (!(props.*pointer).empty()) result[source.name] = to_valid_utf8(props.*pointer);
            } else {
                if (props.*pointer != -1) result[source.name] = props.*pointer;
            }
        },
        source.pointer);
}

void read_custom_props(props_t& props, const json::value& value) {
    if (!value.is_object()) throw bad_request("custom_props is not an object");
    for (const auto& [key, entry] : value.get_object()) {
        const std::string name = "custom_props." + std::string(key);
        const std::string text = carried_text(entry, name);
        if (text.empty()) throw bad_request(name + " is empty, which entries cannot carry");
        if (!is_line_safe(key) || key.find(':') != key.npos || text.find(':') != text.npos) {
            throw bad_request(name + " has a character that entries cannot carry");
        }
        props.custom_props[std::string(key)] = text;
    }
}

json::object custom_props_to_json(const props_t& props) {
    json::object result;
    for (const auto& [key, text] : props.custom_props)
        result[to_valid_utf8(key)] = to_valid_utf8(text);
    return result;
}

}  // namespace

std::string carried_text(const json::value& value, const std::string& name) {
    if (!value.is_string()) throw bad_request(name + " is not a text");
    std::string text(value.get_string());
    if (!is_line_safe(text)) throw bad_request(name + " has a character that entries cannot carry");
    return text;
}

void check_path(const std::string& path, const std::string& name) {
    if (!path.starts_with('/')) throw bad_request(name + " does not begin with /");
}

long long number_in_range(const json::value& value, const std::string& name, long long low, long long high) {
    if (!value.is_int64()) {
        throw bad_request(name + (value.is_uint64() ? " is out of its range" : " is not a whole number"));
    }
    const long long number = value.get_int64();
    if (number < low || number > high) throw bad_request(name + " is out of its range");
    return number;
}

index_iface_props props_from_json(const json::object& fields) {
    index_iface_props props;
    for (const auto& [key, value] : fields) {
        if (key == "custom_props") {
            read_custom_props(props, value);
        } else if (const field* target = field_named(key)) {
            read_field(props, *target, value);
        } else {
            throw bad_request("unknown field " + std::string(key) + " in props");
        }
    }
    if (fields.contains("path")) check_path(props.path, "path");
    return props;
}

json::object props_to_json(const index_iface_props& props) {
    json::object result;
    for (const field& source : fields_of_props)
        write_field(result, props, source);
    if (!props.custom_props.empty()) result["custom_props"] = custom_props_to_json(props);
    return result;
}

void query_from_json(const json::object& source, query_key wanted, query_fields& query) {
    constexpr long long longest = std::numeric_limits<long long>::max();
    const auto seconds = [](const json::value& value, const std::string& name) {
        return number_in_range(value, name, 0, longest / 1000000000);
    };
    const auto text = [](const json::value& value, const std::string& name, std::string& owner) {
        owner = carried_text(value, name);
        return owner.c_str();
    };
    for (const auto& [key, value] : source) {
        if (key == "path") {
            query.fields.path = text(value, "path", query.path);
            check_path(query.path, "path");
        } else if (key == "object_guid") {
            query.fields.object_guid = text(value, "object_guid", query.object_guid);
        } else if (key == "version_guid") {
            query.fields.version_guid = text(value, "version_guid", query.version_guid);
        } else if (key == "before_time") {
            query.fields.before_time = seconds(value, "before_time");
        } else if (key == "after_time") {
            query.fields.after_time = seconds(value, "after_time");
        } else if (key == "real_before_time") {
            query.fields.real_before_time = number_in_range(value, "real_before_time", 0, longest);
        } else {
            throw bad_request("unknown field " + std::string(key) + " in fields");
        }
    }
    const bool by_path = wanted == query_key::path;
    if (!(by_path ? query.fields.path : query.fields.object_guid)) {
        throw bad_request(by_path ? "path is missing in fields" : "object_guid is missing in fields");
    }
}

}  // namespace share_host
