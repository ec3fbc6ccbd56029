// How hard written changes are pressed onto the disk: the setting journal_sync of the section host.
#pragma once

#include <optional>

namespace hostkit {

/// Milliseconds that a write to a file opened for appending may stay unforced: below 0 for "none", which is the
/// default, 0 for "always", the number for "interval:<ms>". Nothing when the setting says anything else: a promise
/// that was misspelt must not turn into none.
std::optional<int> journal_sync_ms();

}  // namespace hostkit
