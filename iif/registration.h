// How a share host comes to its identity at an index server that runs elsewhere.
#pragma once

#include <stop_token>
#include <string>

#include "iif/commands.h"
#include "share/state_dir.h"

namespace iif {

/// The identity of the share: the one that its state remembers, else the one in the token file, else a new one from a
/// registration with the admin token, which is tried with growing pauses while the server does not answer. What is
/// found is kept in the state. Nothing when a stop was requested first. Throws program_error.
std::optional<share_host::share_identity> identity_at_server(const share_host::state_dir& state,
                                                             const serve_options& options, std::stop_token stop);

}  // namespace iif
