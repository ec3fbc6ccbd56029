// iif host --share NAME... --server URL: shares without a directory, which other programs feed through the control
// socket. Each has a state and a socket of its own; any of the sockets serves them all.
#include <cstdio>
#include <set>

#include "iif/registration.h"
#include "iif/signals.h"
#include "iif/stack.h"
#include "share/control.h"

namespace iif {
namespace {

using stacks = std::vector<std::unique_ptr<stack>>;

stacks open_states(const host_options& options) {
    const std::set<std::string> names(options.shares.begin(), options.shares.end());
    if (names.size() != options.shares.size())
        throw program_error(exit_code::usage, "A share is named twice; give each --share once.");
    stacks parts;
    for (const std::string& name : options.shares)
        parts.push_back(std::make_unique<stack>(share_host::state_for_share(name, options.state)));
    return parts;
}

share_host::start_result start_all(const stacks& parts, std::stop_token stop) {
    for (const auto& part : parts) {
        const share_host::start_result result = part->start(stop);
        if (result != share_host::start_result::ready) return result;
    }
    return share_host::start_result::ready;
}

/// Until the stop.
void serve_all(const stacks& parts, std::stop_token stop) {
    share_host::served_shares shares;
    for (const auto& part : parts)
        shares[part->state().share_name] = &part->share();
    std::vector<std::unique_ptr<share_host::control_server>> sockets;
    for (const auto& part : parts) {
        const std::string path = part->state().control_socket();
        sockets.push_back(std::make_unique<share_host::control_server>(path, shares));
        std::printf("share %s at %s\n", part->state().share_name.c_str(), path.c_str());
    }
    std::fflush(stdout);
    while (sleep_unless_stopped(stop, std::chrono::hours(24))) {
    }
}

}  // namespace

exit_code run_host(const host_options& options) {
    const signal_watch signals;
    prepare_process(options.common);
    const stacks parts = open_states(options);
    std::vector<share_host::state_dir> states;
    for (const auto& part : parts)
        states.push_back(part->state());
    const auto identities = identities_at_server(states, options.server, signals.stop());
    if (identities.empty()) return exit_code::done;
    for (std::size_t place = 0; place < parts.size(); ++place)
        parts[place]->use_server(identities[place]);
    const share_host::start_result result = start_all(parts, signals.stop());
    const exit_code code = result == share_host::start_result::refused ? exit_code::refused : exit_code::done;
    if (result == share_host::start_result::ready) serve_all(parts, signals.stop());
    for (const auto& part : parts)
        part->leave(code);
    return code;
}

}  // namespace iif
