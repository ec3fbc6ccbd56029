// Whether the storage answers, for probes that anybody may send.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>

#include "server/engine.h"

namespace index_server {

/// Asks the storage at most once a second and never twice at a time, so that probes cost it nothing that counts, and a
/// storage that hangs takes one worker at most. Any thread.
class storage_health {
public:
    /// The storage is one that was opened just now, so it counts as well.
    explicit storage_health(engine& storage) : storage_(storage) {}

    /// What is known without asking; nothing when it is time to ask.
    std::optional<bool> recent();

    /// Asks, unless `recent` tells. False when the storage failed; why stands in the log.
    bool ask();

private:
    using clock = std::chrono::steady_clock;

    std::optional<bool> known() const;  // locks: mutex_ held
    bool probe();

    engine& storage_;
    std::mutex mutex_;  // guards the rest; never held while the storage is asked
    std::optional<clock::time_point> asked_;
    bool is_asking_ = false;
    bool is_well_ = true;
};

}  // namespace index_server
