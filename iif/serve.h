// The loop of a share host: a pass over the tree, its summary, the pause until the next pass, and the orderly end.
#pragma once

#include <stop_token>

#include "iif/commands.h"
#include "iif/stack.h"

namespace iif {

/// Where the state of what `options` serve lies, made when it is new. Warns when that is inside the served tree.
share_host::state_dir state_to_serve(const serve_options& options);

/// Runs the share of a stack that has its server: once, or until the stop. Leaves the stack.
exit_code serve(stack& parts, const serve_options& options, std::stop_token stop);

}  // namespace iif
