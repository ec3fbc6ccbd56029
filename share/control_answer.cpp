// Request in, answer out, without a socket.
#include <boost/json.hpp>
#include <cerrno>

#include "share/control.h"
#include "share/record_json.h"

namespace share_host {
namespace {

namespace json = boost::json;

constexpr std::size_t deepest_request = 8;

const json::object& object_member(const json::object& request, std::string_view name) {
    const json::value* member = request.if_contains(name);
    if (!member || !member->is_object()) throw bad_request(std::string(name) + " is missing or not an object");
    return member->get_object();
}

std::string text_member(const json::object& request, std::string_view name) {
    const json::value* member = request.if_contains(name);
    if (!member || !member->is_string()) throw bad_request(std::string(name) + " is missing or not a text");
    return std::string(member->get_string());
}

/// A time in milliseconds, or nothing when the request does not name one.
std::optional<std::chrono::milliseconds> time_member(const json::object& request, std::string_view name) {
    const json::value* member = request.if_contains(name);
    if (!member) return std::nullopt;
    return std::chrono::milliseconds(number_in_range(*member, std::string(name), 0, no_time_limit.count()));
}

index_port& share_of(const served_shares& shares, const json::object& request) {
    if (!request.contains("share")) {
        if (shares.size() != 1) throw bad_request("share is missing");
        return *shares.begin()->second;
    }
    const std::string name = text_member(request, "share");
    const auto found = shares.find(name);
    if (found == shares.end()) throw bad_request("unknown share " + name);
    return *found->second;
}

void check_members(const json::object& request, std::initializer_list<std::string_view> own) {
    for (const auto& member : request) {
        const std::string_view key = member.key();
        bool known = key == "op" || key == "share";
        for (const std::string_view name : own)
            known = known || key == name;
        if (!known) throw bad_request("unknown member " + std::string(key));
    }
}

json::object answer_change(index_port& index, const json::object& request,
                           int (index_port::*change)(const index_iface_props&)) {
    check_members(request, {"props"});
    const index_iface_props props = props_from_json(object_member(request, "props"));
    json::object answer{{"ret", (index.*change)(props)}};
    if (props.vtime_sec != -1) answer["vtime_sec"] = props.vtime_sec;
    return answer;
}

/// Delivers first if the query asks for it, and says how that went.
void freshen(index_port& index, const json::object& request, const std::stop_token& stop, json::object& answer) {
    const auto limit = time_member(request, "fresh_ms");
    if (!limit) return;
    const freshness state = index.deliver(*limit, stop);
    answer["fresh"] = state.fresh;
    answer["stale_ms"] = state.stale_ms;
}

json::object answer_find(index_port& index, const json::object& request, const std::stop_token& stop) {
    check_members(request, {"fields", "fresh_ms"});
    query_fields query;
    query_from_json(object_member(request, "fields"), query);
    json::object answer;
    freshen(index, request, stop, answer);
    index_iface_props props;
    const int ret = index.find_by_path(query.fields, props);
    answer["ret"] = ret;
    if (ret == 0) answer["props"] = props_to_json(props);
    return answer;
}

json::object answer_browse(index_port& index, const json::object& request, const std::stop_token& stop) {
    check_members(request, {"fields", "fresh_ms"});
    query_fields query;
    query_from_json(object_member(request, "fields"), query);
    json::object answer;
    freshen(index, request, stop, answer);
    std::vector<index_iface_props> results;
    const int ret = index.browse_by_path(query.fields, results);
    answer["ret"] = ret;
    if (ret != 0) return answer;
    json::array items;
    items.reserve(results.size());
    for (const index_iface_props& props : results)
        items.push_back(props_to_json(props));
    answer["items"] = std::move(items);
    return answer;
}

json::object answer_flush(index_port& index, const json::object& request, const std::stop_token& stop) {
    check_members(request, {"timeout_ms"});
    const freshness state = index.deliver(time_member(request, "timeout_ms").value_or(no_time_limit), stop);
    if (state.fresh) return {{"ret", 0}};
    return {{"ret", state.ret != 0 ? state.ret : ETIMEDOUT}};
}

json::object answer_request(const served_shares& shares, const json::object& request, const std::stop_token& stop) {
    const std::string op = text_member(request, "op");
    index_port& index = share_of(shares, request);
    if (op == "add_item") return answer_change(index, request, &index_port::add_item);
    if (op == "update_item") return answer_change(index, request, &index_port::update_item);
    if (op == "delete_item") return answer_change(index, request, &index_port::delete_item);
    if (op == "find_by_path") return answer_find(index, request, stop);
    if (op == "browse_by_path") return answer_browse(index, request, stop);
    if (op == "flush") return answer_flush(index, request, stop);
    throw bad_request("unknown op " + op);
}

json::object answer_line(const served_shares& shares, std::string_view line, const std::stop_token& stop) {
    json::parse_options limits;
    limits.max_depth = deepest_request;
    boost::system::error_code error;
    const json::value request = json::parse(line, error, {}, limits);
    if (error) throw bad_request("the line is no JSON: " + error.message());
    if (!request.is_object()) throw bad_request("the line is no JSON object");
    return answer_request(shares, request.get_object(), stop);
}

}  // namespace

std::string answer_control_line(const served_shares& shares, std::string_view line, std::stop_token stop) {
    try {
        return json::serialize(answer_line(shares, line, stop));
    } catch (const bad_request& problem) {
        return json::serialize(json::object{{"error", problem.what()}});
    } catch (const std::exception& failure) {
        return json::serialize(
            json::object{{"error", "the request could not be worked on"}, {"detail", failure.what()}});
    }
}

}  // namespace share_host
