// iif flush: everything that was accepted so far is in the index when it returns 0.
#include <cerrno>
#include <cmath>

#include "iif/query_source.h"
#include "iif/share_choice.h"
#include "iif/stack.h"

namespace iif {
namespace {

exit_code outcome_of(int ret) {
    if (ret == 0) return exit_code::done;
    if (ret == ETIMEDOUT) {
        notice("Not everything was delivered in time; it goes on behind, and iif status tells how far it is.");
        return exit_code::cannot_reach;
    }
    notice("The delivery failed (" + std::to_string(ret) + "); what was accepted is kept and tried again.");
    return exit_code::cannot_reach;
}

}  // namespace

exit_code run_flush(const flush_options& options) {
    prepare_process(options.common);
    const auto timeout = std::chrono::milliseconds(std::llround(options.timeout_s * 1000));
    const auto source = open_source(chosen_state(options.which), timeout);
    const exit_code code = outcome_of(source->flush());
    source->leave(code);
    return code;
}

}  // namespace iif
