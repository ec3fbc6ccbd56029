// Where the answers of find and ls come from.
#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "core/records.h"
#include "iif/exit_code.h"
#include "share/index_port.h"
#include "share/state_dir.h"

namespace iif {

/// A host that runs, or a stack of this process. Calls throw program_error when no answer can be had.
class query_source {
public:
    struct answer {
        int ret = 0;  ///< result of the library's operation
        std::vector<index_iface_props> objects;
        share_host::freshness state;
    };

    virtual ~query_source() = default;
    virtual answer find(const index_iface_browse_fields& fields) = 0;
    virtual answer list(const index_iface_browse_fields& fields) = 0;
    /// Ends what was started; may end the process, with `code`, as stack::leave does.
    virtual void leave(exit_code code) = 0;
};

/// The host that serves the share's control socket; null when there is none. `timeout` bounds the wait for changes
/// that are under way.
std::unique_ptr<query_source> try_socket_source(const share_host::state_dir& state, std::chrono::milliseconds timeout);

/// Starts a stack for the share, without a scan, and gives up after `patience`. Throws share_host::state_in_use when
/// another process works on the state.
std::unique_ptr<query_source> make_stack_source(const share_host::state_dir& state, std::chrono::milliseconds timeout,
                                                std::chrono::milliseconds patience);

}  // namespace iif
