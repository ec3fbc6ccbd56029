// An index in memory with the rules of the real one: rows of versions, paths walked through parents, the newest version
// counts. It can refuse, fail and stop.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "share/index_port.h"

namespace share_host {

class fake_index : public index_port {
public:
    struct object {
        index_iface_props newest;
        bool alive = true;
    };

    fake_index();

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
    int clear_counters() override { return note("clear_counters"); }
    int get_flush_status_msg(std::string& text) override;
    int get_query_status_msg(std::string& text) override;
    int dump_caches() override { return note("dump_caches"); }
    int get_num_async_browses() override { return 0; }
    int stop_async_browses() override { return note("stop_async_browses"); }
    int cleanup() override { return note("cleanup"); }
    freshness deliver(std::chrono::milliseconds timeout, std::stop_token stop) override;
    bool ready() const override { return true; }

    /// The paths of all living objects.
    std::set<std::string> paths() const;
    /// The living object at that path; its GUID is empty when there is none.
    index_iface_props at(const std::string& path) const;

    std::map<std::string, object> objects;  // by GUID
    // "add /a", "update /a", "delete /a", "rename /a to /b", "browse /a", names of calls, in their order
    std::vector<std::string> log;
    std::vector<int> refusals;                              // results of the next changes, the last one first; then 0
    std::set<std::string> failing_browses;                  // paths
    std::function<void(const std::string&)> before_change;  // told the log line

private:
    int take(const std::string& what, const index_iface_props& props);
    int note(const std::string& call);
    void children(const std::vector<std::string>& parents, bool extents, records& results) const;
    void store(const index_iface_props& props, index_iface_time_t version_time);
    std::vector<std::string> walk(const std::string& path) const;
};

}  // namespace share_host
