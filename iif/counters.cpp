// iif counters: the running totals of the host of a share, since its start or since they were cleared.
#include <boost/json.hpp>
#include <cstdio>

#include "iif/host_client.h"
#include "iif/output.h"
#include "iif/share_choice.h"
#include "share/index_port.h"

namespace iif {

namespace json = boost::json;

exit_code run_counters(const counters_options& options) {
    const share_host::state_dir state = chosen_state(options.which);
    const auto host = host_client::require(state);
    const json::object answer = host->ask("get_counters");
    const json::value* counters = answer.if_contains("counters");
    if (answer.at("ret").get_int64() == share_host::result_not_ready)
        throw program_error(exit_code::cannot_reach, "The share " + state.share_name + " is ending; start it again.");
    if (!counters || !counters->is_object()) throw_senseless_answer();
    if (options.json) {
        std::printf("%s\n", json::serialize(*counters).c_str());
    } else {
        for (const auto& [name, value] : counters->get_object())
            std::printf("%s %s\n", printable(name).c_str(), json::value_to<std::string>(value).c_str());
    }
    if (options.clear) host->ask("clear_counters");
    return exit_code::done;
}

}  // namespace iif
