// Answers from the host that serves the share: one request line out, one answer line in.
#include <boost/json.hpp>

#include "iif/host_client.h"
#include "iif/query_source.h"
#include "share/record_json.h"

namespace iif {
namespace {

namespace json = boost::json;

const char* name_of(query_op op) {
    switch (op) {
        case query_op::find_by_path:
            return "find_by_path";
        case query_op::find_by_guid:
            return "find_by_guid";
        case query_op::browse_by_path:
            return "browse_by_path";
        case query_op::browse_by_guid:
            return "browse_by_guid";
        case query_op::browse_file_extents:
            return "browse_file_extents";
        case query_op::browse_extents_not_backedup:
            return "browse_extents_not_backedup";
    }
    return "";
}

class socket_source final : public query_source {
public:
    socket_source(std::unique_ptr<host_client> host, std::chrono::milliseconds timeout)
        : host_(std::move(host)), timeout_(timeout) {}

    answer ask(query_op op, const index_iface_browse_fields& fields) override {
        json::object query;
        if (fields.path) query["path"] = fields.path;
        if (fields.object_guid) query["object_guid"] = fields.object_guid;
        if (fields.before_time != 0) {
            query["before_time"] = fields.before_time;
            query["real_before_time"] = fields.real_before_time;
        }
        json::object request{{"op", name_of(op)}, {"fresh_ms", timeout_.count()}};
        if (op != query_op::browse_extents_not_backedup) request["fields"] = std::move(query);
        return read(host_->ask(std::move(request)));
    }

    int flush() override {
        const json::object reply = host_->ask({{"op", "flush"}, {"timeout_ms", timeout_.count()}});
        return reply.at("ret").to_number<int>();
    }

    void leave(exit_code) override {}

private:
    static answer read(const json::object& reply) try {
        answer result;
        result.ret = reply.at("ret").to_number<int>();
        result.state.fresh = reply.at("fresh").as_bool();
        result.state.stale_ms = reply.at("stale_ms").to_number<long long>();
        if (const json::value* props = reply.if_contains("props"))
            result.objects.push_back(share_host::props_from_json(props->as_object()));
        if (const json::value* items = reply.if_contains("items"))
            for (const json::value& item : items->as_array())
                result.objects.push_back(share_host::props_from_json(item.as_object()));
        return result;
    } catch (const std::exception&) {
        throw_senseless_answer();
    }

    const std::unique_ptr<host_client> host_;
    const std::chrono::milliseconds timeout_;
};

}  // namespace

std::unique_ptr<query_source> try_socket_source(const share_host::state_dir& state, std::chrono::milliseconds timeout) {
    auto host = host_client::connect(state);
    return host ? std::make_unique<socket_source>(std::move(host), timeout) : nullptr;
}

}  // namespace iif
