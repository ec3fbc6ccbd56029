// The share's side of the index as the reconciler and the control socket need it. The share implements it on the
// library; a test can stand in for it.
#pragma once

#include <chrono>
#include <map>
#include <stop_token>
#include <string>
#include <vector>

#include "core/records.h"

namespace share_host {

/// Result of every call that came before the share was ready or after it began to leave. Negative like all results that
/// say that the index could not be reached.
constexpr int result_not_ready = -107;

/// How fresh the index is after a request to deliver.
struct freshness {
    bool fresh = false;      ///< everything accepted before the request has been delivered
    int ret = 0;             ///< result of the flush that failed to; 0 when none has ended in time
    long long stale_ms = 0;  ///< age of the last moment at which everything was delivered; 0 when fresh
};

/// The operations on one share. Any thread; records and results are those of the library's operations of the same name,
/// and 0 where those have none. Browses append to `results` and leave it alone on failure.
class index_port {
public:
    virtual ~index_port() = default;

    virtual int add_item(const index_iface_props& props) = 0;
    virtual int update_item(const index_iface_props& props) = 0;
    virtual int delete_item(const index_iface_props& props) = 0;
    virtual int rename_item(const index_iface_props& props, const std::string& old_parent_guid,
                            const std::string& old_path, bool flush_now) = 0;

    using records = std::vector<index_iface_props>;
    virtual int find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) = 0;
    virtual int find_by_guid(const index_iface_browse_fields& fields, index_iface_props& props) = 0;
    virtual int browse_by_path(const index_iface_browse_fields& fields, records& results) = 0;
    virtual int browse_by_guid(const index_iface_browse_fields& fields, records& results) = 0;
    virtual int browse_file_extents(const index_iface_browse_fields& fields, records& results) = 0;
    virtual int browse_extents_not_backedup(records& results) = 0;

    virtual int get_counters(std::map<std::string, std::string>& counters) = 0;
    virtual int clear_counters() = 0;
    virtual int get_flush_status_msg(std::string& text) = 0;
    virtual int get_query_status_msg(std::string& text) = 0;
    virtual int dump_caches() = 0;
    virtual int get_num_async_browses() = 0;
    virtual int stop_async_browses() = 0;

    /// Ends the share for good and discards what was not delivered; every later call gives result_not_ready. Takes
    /// about 2 seconds.
    virtual int cleanup() = 0;

    /// Has everything delivered that was accepted before the call, and waits for that until it is done, it failed, the
    /// time is over or a stop is requested. A delivery that is under way goes on behind the caller's back.
    virtual freshness deliver(std::chrono::milliseconds timeout, std::stop_token stop) = 0;

    /// False before the start is complete and once the share leaves.
    virtual bool ready() const = 0;
};

/// "No time limit" for deliver().
constexpr std::chrono::milliseconds no_time_limit = std::chrono::hours(24 * 365);

}  // namespace share_host
