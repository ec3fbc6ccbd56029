// Which share a command is about.
#pragma once

#include <vector>

#include "iif/commands.h"
#include "share/state_dir.h"

namespace iif {

/// The state of the share that is meant. Throws program_error when there is none, or no saying which.
share_host::state_dir chosen_state(const share_choice& choice);

/// The same, but all shares when none is named.
std::vector<share_host::state_dir> chosen_states(const share_choice& choice);

}  // namespace iif
