// One served share: owns the library's object, brings it up, delivers on demand, and leaves without losing anything.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "share/index_port.h"

class index_iface;

namespace share_host {

struct share_options {
    std::string name;                ///< name of the share: letters, digits, '.', '_' and '-'
    std::string root_dir;            ///< directory for the library's journals; made when missing
    std::uint64_t subclient_id = 0;  ///< the share's id at the index server
    std::uint32_t flush_after_count = 20000;
    std::int32_t flush_after_seconds = 5;
    /// Told one plain sentence about each thing that an operator should know. Called from the thread that found it.
    std::function<void(const std::string&)> notice;
};

enum class start_result {
    ready,    ///< queries and changes work
    stopped,  ///< a stop was requested before the share was ready
    refused,  ///< trying again cannot help: a person has to act, as the notice says
};

/// Order of calls: constructor, start, anything of index_port from any threads, leave, destructor. What the library
/// asks of its host (settings, log) has to be set before start.
class share final : public index_port {
public:
    explicit share(share_options options);

    /// Leaves within the default bound if nobody has. When that is not possible the library's object stays behind, for
    /// a thread of it still runs.
    ~share() override;

    /// Makes the library's object and tries, with growing pauses and a new object each time, until the index answers.
    start_result start(std::stop_token stop);

    int add_item(const index_iface_props& props) override;
    int update_item(const index_iface_props& props) override;
    int delete_item(const index_iface_props& props) override;
    int rename_item(const index_iface_props& props, const std::string& old_parent_guid, const std::string& old_path,
                    bool flush_now) override;
    int find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) override;
    int find_by_guid(const index_iface_browse_fields& fields, index_iface_props& props) override;
    int browse_by_path(const index_iface_browse_fields& fields, records& results) override;
    int browse_by_guid(const index_iface_browse_fields& fields, records& results) override;
    int browse_file_extents(const index_iface_browse_fields& fields, records& results) override;
    int browse_extents_not_backedup(records& results) override;
    int get_counters(std::map<std::string, std::string>& counters) override;
    int clear_counters() override;
    int get_flush_status_msg(std::string& text) override;
    int get_query_status_msg(std::string& text) override;
    int dump_caches() override;
    int get_num_async_browses() override;
    int stop_async_browses() override;
    int cleanup() override;
    freshness deliver(std::chrono::milliseconds timeout, std::stop_token stop) override;
    bool ready() const override;

    /// Batches that the index has taken since the start, deliveries of replayed changes included.
    std::uint64_t batches_delivered() const;

    /// Takes no more changes, gives a delivery under way until `bound` to end, and deletes the object. Undelivered
    /// changes stay in the journals for the next start. False: a call into the library did not end in time, so its
    /// object could not be deleted and the process has to end with std::_Exit, which loses nothing either.
    bool leave(std::chrono::milliseconds bound = std::chrono::seconds(5));

    const share_options& options() const;

private:
    template <class Browse>
    int browse(records& results, Browse ask);

    struct state;
    /// Also held by the threads that may outlive the share.
    std::shared_ptr<state> state_;
};

}  // namespace share_host
