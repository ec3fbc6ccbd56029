// Gathering of what is not counted but looked up.
#include "server/metrics_route.h"

#include <filesystem>
#include <system_error>

namespace index_server {

namespace {

/// Bytes of the files right below a directory. One that goes meanwhile counts as nothing.
std::uint64_t bytes_in(const std::string& directory) {
    std::uint64_t sum = 0;
    std::error_code failed;
    for (std::filesystem::directory_iterator at(directory, failed), end; !failed && at != end; at.increment(failed)) {
        std::error_code gone;
        if (!at->is_regular_file(gone) || gone) continue;
        const std::uintmax_t size = at->file_size(gone);
        if (!gone) sum += size;
    }
    return sum;
}

}  // namespace

http_reply answer_metrics(const server_metrics& metrics, const std::string& data_dir, const share_registry& shares,
                          const transactions& collects) {
    const transactions::load load = collects.present_load();
    metric_gauges gauges;
    gauges.queued_files = load.queued;
    gauges.applying_files = load.applying;
    gauges.shares = shares.all().size();
    gauges.database_bytes = bytes_in(data_dir);
    gauges.spool_bytes = bytes_in(data_dir + "/spool");
    return {200, metrics.text(gauges), "text/plain; version=0.0.4; charset=utf-8"};
}

}  // namespace index_server
