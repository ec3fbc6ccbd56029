// How a share host comes to the identities of its shares at an index server that runs elsewhere.
#pragma once

#include <stop_token>
#include <string>
#include <vector>

#include "iif/commands.h"
#include "share/state_dir.h"

namespace iif {

/// The identity of each share, in the order of the states: the one that its state remembers, else the one in a token
/// file, else a new one from a registration with the admin token, which is tried with growing pauses while the server
/// does not answer. A process sends one token, so all get the first one's, which the admin token makes grant them too
/// where it does not. What is found is kept in the states. Empty when a stop was requested first. Throws program_error.
std::vector<share_host::share_identity> identities_at_server(const std::vector<share_host::state_dir>& states,
                                                             const server_access& server, std::stop_token stop);

}  // namespace iif
