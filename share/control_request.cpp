// Members of a request, by name and type.
#include "share/control_request.h"

#include <boost/json.hpp>

#include "share/record_json.h"

namespace share_host {

namespace json = boost::json;

void control_request::allow(std::initializer_list<std::string_view> names) const {
    for (const auto& member : members_) {
        const std::string_view key = member.key();
        bool known = key == "op" || key == "share";
        for (const std::string_view name : names)
            known = known || key == name;
        if (!known) throw bad_request("unknown member " + std::string(key));
    }
}

const json::value& control_request::member(std::string_view name, const char* kind) const {
    const json::value* found = members_.if_contains(name);
    if (!found) throw bad_request(std::string(name) + " is missing or not " + kind);
    return *found;
}

const json::object& control_request::object(std::string_view name) const {
    const json::value& value = member(name, "an object");
    if (!value.is_object()) throw bad_request(std::string(name) + " is missing or not an object");
    return value.get_object();
}

std::string control_request::text(std::string_view name) const {
    const json::value& value = member(name, "a text");
    if (!value.is_string()) throw bad_request(std::string(name) + " is missing or not a text");
    return std::string(value.get_string());
}

std::string control_request::line_text(std::string_view name) const {
    return carried_text(member(name, "a text"), std::string(name));
}

bool control_request::flag(std::string_view name) const {
    const json::value* found = members_.if_contains(name);
    if (!found) return false;
    if (!found->is_bool()) throw bad_request(std::string(name) + " is neither true nor false");
    return found->get_bool();
}

std::optional<std::chrono::milliseconds> control_request::milliseconds(std::string_view name) const {
    const json::value* found = members_.if_contains(name);
    if (!found) return std::nullopt;
    return std::chrono::milliseconds(number_in_range(*found, std::string(name), 0, no_time_limit.count()));
}

}  // namespace share_host
