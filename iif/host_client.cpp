// The asking side of a share's host.
#include "iif/host_client.h"

#include <boost/json.hpp>
#include <system_error>

#include "iif/exit_code.h"

namespace iif {

namespace json = boost::json;

host_client::host_client(const share_host::state_dir& state)
    : share_(state.share_name), client_(state.control_socket()) {}

std::unique_ptr<host_client> host_client::connect(const share_host::state_dir& state) {
    try {
        return std::make_unique<host_client>(state);
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory || error.code() == std::errc::connection_refused)
            return nullptr;
        throw;
    }
}

std::unique_ptr<host_client> host_client::require(const share_host::state_dir& state) {
    if (auto client = connect(state)) return client;
    throw program_error(exit_code::cannot_reach,
                        "No host serves the share " + state.share_name + "; start it with iif up, share or host.");
}

json::object host_client::ask(json::object request) {
    request["share"] = share_;
    boost::system::error_code problem;
    const json::value answer = json::parse(client_.ask(json::serialize(request)), problem);
    if (problem || !answer.is_object()) throw_senseless_answer();
    const json::object& members = answer.get_object();
    const json::value* error = members.if_contains("error");
    if (error && error->is_string())
        throw program_error(exit_code::refused,
                            "The host of the share refuses: " + std::string(error->get_string()) + ".");
    if (!members.contains("ret") || !members.at("ret").is_int64()) throw_senseless_answer();
    return members;
}

void throw_senseless_answer() {
    throw program_error(exit_code::cannot_reach,
                        "The answer of the host of the share makes no sense; is it of another version?");
}

}  // namespace iif
