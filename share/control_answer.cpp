// Request in, answer out, without a socket.
#include <boost/json.hpp>

#include "share/control.h"
#include "share/control_request.h"
#include "share/record_json.h"

namespace share_host {
namespace {

namespace json = boost::json;

constexpr std::size_t deepest_request = 8;

index_port& share_of(const served_shares& shares, const control_request& request) {
    if (!request.has("share")) {
        if (shares.size() != 1) throw bad_request("share is missing");
        return *shares.begin()->second;
    }
    const std::string name = request.text("share");
    const auto found = shares.find(name);
    if (found == shares.end()) throw bad_request("unknown share " + name);
    return *found->second;
}

json::object answer_line(const served_shares& shares, std::string_view line, std::stop_token stop) {
    json::parse_options limits;
    limits.max_depth = deepest_request;
    boost::system::error_code error;
    const json::value members = json::parse(line, error, {}, limits);
    if (error) throw bad_request("the line is no JSON: " + error.message());
    if (!members.is_object()) throw bad_request("the line is no JSON object");
    const control_request request(members.get_object(), std::move(stop));
    const std::string op = request.text("op");
    const control_op run = find_control_op(op);
    if (!run) throw bad_request("unknown op " + op);
    return run(share_of(shares, request), request);
}

}  // namespace

std::string answer_control_line(const served_shares& shares, std::string_view line, std::stop_token stop) {
    try {
        return json::serialize(answer_line(shares, line, std::move(stop)));
    } catch (const bad_request& problem) {
        return json::serialize(json::object{{"error", problem.what()}});
    } catch (const std::exception& failure) {
        return json::serialize(
            json::object{{"error", "the request could not be worked on"}, {"detail", failure.what()}});
    }
}

}  // namespace share_host
