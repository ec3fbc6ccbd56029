// The operations of the control socket, one for each of the library's. What they share: a change takes `props`, a query
// `fields` and `fresh_ms`, and the result of the call is `ret`.
#include <array>
#include <boost/json.hpp>
#include <cerrno>

#include "observability/index_iface_perf.h"
#include "share/control_request.h"
#include "share/record_json.h"

namespace share_host {
namespace {

namespace json = boost::json;

json::object change_answer(int ret, const index_iface_props& props) {
    json::object answer{{"ret", ret}};
    if (props.vtime_sec != -1) answer["vtime_sec"] = props.vtime_sec;
    return answer;
}

template <int (index_port::*change)(const index_iface_props&)>
json::object answer_change(index_port& index, const control_request& request) {
    request.allow({"props"});
    const index_iface_props props = props_from_json(request.object("props"));
    const int ret = (index.*change)(props);
    return change_answer(ret, props);
}

json::object answer_rename(index_port& index, const control_request& request) {
    request.allow({"props", "old_parent_guid", "old_path", "flush_now"});
    const index_iface_props props = props_from_json(request.object("props"));
    const std::string old_parent_guid = request.line_text("old_parent_guid");
    const std::string old_path = request.line_text("old_path");
    check_path(old_path, "old_path");
    const bool flush_now = request.flag("flush_now");
    const int ret = index.rename_item(props, old_parent_guid, old_path, flush_now);
    return change_answer(ret, props);
}

/// Delivers first if the query asks for it, and says how that went.
json::object freshened(index_port& index, const control_request& request) {
    const auto limit = request.milliseconds("fresh_ms");
    if (!limit) return {};
    const freshness state = index.deliver(*limit, request.stop());
    return {{"fresh", state.fresh}, {"stale_ms", state.stale_ms}};
}

template <query_key key, int (index_port::*find)(const index_iface_browse_fields&, index_iface_props&)>
json::object answer_find(index_port& index, const control_request& request) {
    request.allow({"fields", "fresh_ms"});
    query_fields query;
    query_from_json(request.object("fields"), key, query);
    json::object answer = freshened(index, request);
    index_iface_props props;
    const int ret = (index.*find)(query.fields, props);
    answer["ret"] = ret;
    if (ret == 0) answer["props"] = props_to_json(props);
    return answer;
}

void put_items(json::object& answer, int ret, const index_port::records& results) {
    answer["ret"] = ret;
    if (ret != 0) return;
    json::array& items = answer["items"].emplace_array();
    items.reserve(results.size());
    for (const index_iface_props& props : results)
        items.push_back(props_to_json(props));
}

template <query_key key, int (index_port::*browse)(const index_iface_browse_fields&, index_port::records&)>
json::object answer_browse(index_port& index, const control_request& request) {
    request.allow({"fields", "fresh_ms"});
    query_fields query;
    query_from_json(request.object("fields"), key, query);
    json::object answer = freshened(index, request);
    index_port::records results;
    const int ret = (index.*browse)(query.fields, results);
    put_items(answer, ret, results);
    return answer;
}

json::object answer_extents_not_backedup(index_port& index, const control_request& request) {
    request.allow({"fresh_ms"});
    json::object answer = freshened(index, request);
    index_port::records results;
    const int ret = index.browse_extents_not_backedup(results);
    put_items(answer, ret, results);
    return answer;
}

/// On the share's worker, since the library's flush has no time limit.
json::object answer_flush(index_port& index, const control_request& request) {
    request.allow({"timeout_ms"});
    const freshness state = index.deliver(request.milliseconds("timeout_ms").value_or(no_time_limit), request.stop());
    if (state.fresh) return {{"ret", 0}};
    return {{"ret", state.ret != 0 ? state.ret : ETIMEDOUT}};
}

json::object answer_counters(index_port& index, const control_request& request) {
    request.allow({});
    std::map<std::string, std::string> counters;
    const int ret = index.get_counters(counters);
    json::object answer{{"ret", ret}};
    if (ret != 0) return answer;
    json::object& values = answer["counters"].emplace_object();
    for (const auto& [name, value] : counters)
        values[name] = value;
    return answer;
}

template <int (index_port::*get)(std::string&)>
json::object answer_text(index_port& index, const control_request& request) {
    request.allow({});
    std::string text;
    const int ret = (index.*get)(text);
    json::object answer{{"ret", ret}};
    if (ret == 0) answer["text"] = text;
    return answer;
}

template <int (index_port::*call)()>
json::object answer_call(index_port& index, const control_request& request) {
    request.allow({});
    return {{"ret", (index.*call)()}};
}

/// The counters are those of the whole process.
json::object answer_log_perf_counters(index_port&, const control_request& request) {
    request.allow({"text"});
    index_iface_log_perf_counters(request.line_text("text"));
    return {{"ret", 0}};
}

struct named_op {
    std::string_view name;
    control_op run;
};

constexpr std::array<named_op, 20> ops = {{
    {"add_item", answer_change<&index_port::add_item>},
    {"update_item", answer_change<&index_port::update_item>},
    {"delete_item", answer_change<&index_port::delete_item>},
    {"rename_item", answer_rename},
    {"flush", answer_flush},
    {"find_by_path", answer_find<query_key::path, &index_port::find_by_path>},
    {"find_by_guid", answer_find<query_key::object_guid, &index_port::find_by_guid>},
    {"browse_by_path", answer_browse<query_key::path, &index_port::browse_by_path>},
    {"browse_by_guid", answer_browse<query_key::object_guid, &index_port::browse_by_guid>},
    {"browse_file_extents", answer_browse<query_key::object_guid, &index_port::browse_file_extents>},
    {"browse_extents_not_backedup", answer_extents_not_backedup},
    {"get_counters", answer_counters},
    {"clear_counters", answer_call<&index_port::clear_counters>},
    {"get_flush_status_msg", answer_text<&index_port::get_flush_status_msg>},
    {"get_query_status_msg", answer_text<&index_port::get_query_status_msg>},
    {"dump_caches", answer_call<&index_port::dump_caches>},
    {"get_num_async_browses", answer_call<&index_port::get_num_async_browses>},
    {"stop_async_browses", answer_call<&index_port::stop_async_browses>},
    {"log_perf_counters", answer_log_perf_counters},
    {"cleanup", answer_call<&index_port::cleanup>},
}};

}  // namespace

control_op find_control_op(std::string_view name) {
    for (const named_op& candidate : ops) {
        if (candidate.name == name) return candidate.run;
    }
    return nullptr;
}

}  // namespace share_host
