// How a share is doing: what its host tells, and what waits in its journals.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "share/state_dir.h"

namespace iif {

/// A look at one share; the parts are no snapshot of one moment.
struct share_status {
    std::string share;
    std::string directory;  ///< empty: a share without one
    bool running = false;   ///< a host serves it; without one the next three are empty
    std::string flushing;   ///< "waiting", "operational" or "failed N times"
    std::string queries;    ///< "waiting", "operational" or "failed"
    std::map<std::string, std::uint64_t> counters;

    std::uint64_t journal_files = 0;
    std::uint64_t waiting_changes = 0;  ///< lines of the journals: accepted and not known to be delivered
    std::uint64_t waiting_bytes = 0;

    std::uint64_t counter(const std::string& name) const;
    /// How hard the share's producers are held back, in words.
    std::string pressure() const;
};

/// Asks the host, if one runs. Throws program_error when that makes no sense of the questions.
share_status look_at(const share_host::state_dir& state);

/// Lines of text with a line feed each, or one JSON object.
std::string status_text(const share_status& status);
std::string status_json(const share_status& status);

}  // namespace iif
