// Answers from the host that serves the share: one request line out, one answer line in.
#include <boost/json.hpp>
#include <system_error>

#include "iif/query_source.h"
#include "share/control.h"
#include "share/record_json.h"

namespace iif {
namespace {

namespace json = boost::json;

class socket_source final : public query_source {
public:
    socket_source(const std::string& path, std::chrono::milliseconds timeout) : client_(path), timeout_(timeout) {}

    answer find(const index_iface_browse_fields& fields) override { return ask("find_by_path", fields); }
    answer list(const index_iface_browse_fields& fields) override { return ask("browse_by_path", fields); }
    void leave(exit_code) override {}

private:
    answer ask(const char* op, const index_iface_browse_fields& fields) {
        json::object query{{"path", fields.path}};
        if (fields.before_time != 0) {
            query["before_time"] = fields.before_time;
            query["real_before_time"] = fields.real_before_time;
        }
        const json::object request{{"op", op}, {"fields", query}, {"fresh_ms", timeout_.count()}};
        return read(client_.ask(json::serialize(request)));
    }

    static answer read(const std::string& line) try {
        const json::object reply = json::parse(line).as_object();
        if (const json::value* error = reply.if_contains("error"))
            throw program_error(exit_code::refused,
                                "The host of the share refuses: " + json::value_to<std::string>(*error) + ".");
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
    } catch (const program_error&) {
        throw;
    } catch (const std::exception&) {
        throw program_error(exit_code::cannot_reach,
                            "The answer of the host of the share makes no sense; is it of another version?");
    }

    share_host::control_client client_;
    const std::chrono::milliseconds timeout_;
};

}  // namespace

std::unique_ptr<query_source> try_socket_source(const share_host::state_dir& state, std::chrono::milliseconds timeout) {
    try {
        return std::make_unique<socket_source>(state.control_socket(), timeout);
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory || error.code() == std::errc::connection_refused)
            return nullptr;
        throw;
    }
}

}  // namespace iif
