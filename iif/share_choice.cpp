// Which share a command is about.
#include "iif/share_choice.h"

namespace iif {

using share_host::state_dir;

std::vector<state_dir> chosen_states(const share_choice& choice) {
    if (!choice.state.empty()) {
        if (const auto state = share_host::state_at(choice.state)) return {*state};
        throw program_error(exit_code::usage, "There is no state in " + choice.state + "; check --state.");
    }
    if (!choice.share.empty()) {
        if (const auto state = share_host::state_of_share(choice.share)) return {*state};
        throw program_error(exit_code::usage, "There is no share " + choice.share + " in " + share_host::state_home() +
                                                  "; check --share or give --state.");
    }
    std::vector<state_dir> states = share_host::known_states();
    if (states.empty())
        throw program_error(exit_code::usage,
                            "There is no share in " + share_host::state_home() + "; index one with iif up DIR.");
    return states;
}

state_dir chosen_state(const share_choice& choice) {
    const std::vector<state_dir> states = chosen_states(choice);
    if (states.size() == 1) return states.front();
    std::string names;
    for (const state_dir& state : states)
        names += " " + state.share_name;
    throw program_error(exit_code::usage, "There are several shares; choose one with --share:" + names + ".");
}

}  // namespace iif
