// Brings the index in line with a directory tree: walks the tree, compares each directory with what the index holds of
// it, and reports the differences alone.
#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>

#include "share/index_port.h"

namespace share_host {

struct reconcile_progress {
    std::uint64_t objects = 0;          ///< names seen so far, the root included
    std::uint64_t changes = 0;          ///< reported so far
    std::uint64_t estimated_total = 0;  ///< names of the whole tree; 0 while unknown
    double seconds = 0;                 ///< since the walk began
};

struct reconcile_summary {
    std::uint64_t objects = 0;  ///< names found in the tree, the root included
    std::uint64_t added = 0;
    std::uint64_t updated = 0;  ///< changed in place
    std::uint64_t moved = 0;    ///< now at another place
    std::uint64_t deleted = 0;
    std::uint64_t refused = 0;  ///< changes that the library would not take for a reason that stays
    std::uint64_t gaps = 0;     ///< directories that could not be compared; nothing below them was reported gone
    std::uint64_t bytes = 0;    ///< sizes of the regular files seen
    double seconds = 0;
    bool complete = false;  ///< the walk came to its end: it was not stopped and the index answered for the root
    std::string problem;    ///< one sentence on the first gap, refusal or failure; empty when all is well

    std::uint64_t changes() const { return added + updated + moved + deleted; }
    /// The index holds exactly the tree, as soon as everything is delivered.
    bool whole() const { return complete && gaps == 0 && refused == 0; }
};

struct reconcile_options {
    std::string directory;               ///< the tree
    std::string root_record;             ///< file that remembers which directory the tree was; empty: do not remember
    std::uint64_t expected_objects = 0;  ///< of an earlier pass, for the estimate; 0: count them beside the walk
    /// Called from the calling thread, about twice a second at most.
    std::function<void(const reconcile_progress&)> progress;
};

/// One pass. Delivers first, so that the comparison sees the outcome of earlier changes, and returns when every
/// difference has been accepted by the library, which is before the last of them is delivered. A change that is refused
/// is tried again until it is taken or a stop is requested. Blocks; one pass per share at a time.
///
/// A directory that the tree's former root directory was replaced by (a disk that is not mounted) is a gap of the whole
/// tree; removing `root_record` makes the new one the share's root.
reconcile_summary reconcile(index_port& index, const reconcile_options& options, std::stop_token stop);

}  // namespace share_host
