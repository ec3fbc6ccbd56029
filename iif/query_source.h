// Where the answers of find, ls and extents come from.
#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "core/records.h"
#include "iif/exit_code.h"
#include "share/index_port.h"
#include "share/state_dir.h"

namespace iif {

/// The library's queries that the program asks.
enum class query_op {
    find_by_path,
    find_by_guid,
    browse_by_path,
    browse_by_guid,
    browse_file_extents,
    browse_extents_not_backedup,  ///< of the share as it is now: takes no fields
};

/// A host that runs, or a stack of this process. Calls throw program_error when no answer can be had.
class query_source {
public:
    struct answer {
        int ret = 0;  ///< result of the library's operation
        std::vector<index_iface_props> objects;
        share_host::freshness state;
    };

    virtual ~query_source() = default;
    /// Delivers first, for as long as the timeout at most.
    virtual answer ask(query_op op, const index_iface_browse_fields& fields) = 0;
    /// Has everything delivered that was accepted so far: 0, the result of the failed flush, or ETIMEDOUT.
    virtual int flush() = 0;
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

/// The one or the other. Waits for a process that holds the state and does not serve yet. Throws program_error.
std::unique_ptr<query_source> open_source(const share_host::state_dir& state, std::chrono::milliseconds timeout);

}  // namespace iif
