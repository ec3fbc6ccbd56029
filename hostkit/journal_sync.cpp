// Reads the setting journal_sync.
#include "hostkit/journal_sync.h"

#include <charconv>
#include <string>
#include <string_view>

#include "hostkit/settings.h"

namespace hostkit {

std::optional<int> journal_sync_ms() {
    constexpr std::string_view interval = "interval:";
    const std::string mode = process_settings().get("host", "journal_sync", "none");
    if (mode == "none") return -1;
    if (mode == "always") return 0;
    if (!mode.starts_with(interval)) return std::nullopt;
    int wait_ms = 0;
    const char* end = mode.data() + mode.size();
    const auto [rest, failure] = std::from_chars(mode.data() + interval.size(), end, wait_ms);
    if (failure != std::errc{} || rest != end || wait_ms <= 0) return std::nullopt;
    return wait_ms;
}

}  // namespace hostkit
