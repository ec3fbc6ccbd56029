// iif status: how shares are doing, once or again and again.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <utility>

#include "iif/output.h"
#include "iif/share_choice.h"
#include "iif/share_status.h"
#include "iif/signals.h"

namespace iif {
namespace {

using share_host::state_dir;

/// True when every share has a host.
bool print_all(const std::vector<state_dir>& states, bool json) {
    bool all_running = true;
    for (std::size_t place = 0; place < states.size(); ++place) {
        const share_status status = look_at(states[place]);
        all_running = all_running && status.running;
        if (!json && place > 0) std::printf("\n");
        std::printf("%s", json ? (status_json(status) + "\n").c_str() : status_text(status).c_str());
    }
    std::fflush(stdout);
    return all_running;
}

}  // namespace

exit_code run_status(const status_options& options) {
    const signal_watch signals;
    if (!options.watch) {
        return print_all(chosen_states(options.which), options.json) ? exit_code::done : exit_code::cannot_reach;
    }
    const bool terminal = is_terminal(STDOUT_FILENO) && !options.json;
    bool first = true;
    do {
        if (terminal)
            std::printf("\033[H\033[J");
        else if (!options.json && !std::exchange(first, false))
            std::printf("\n");
        print_all(chosen_states(options.which), options.json);
    } while (sleep_unless_stopped(signals.stop(), std::chrono::seconds(1)));
    return exit_code::done;
}

}  // namespace iif
