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
    int browse_by_path(const index_iface_browse_fields& fields, records& results) override;
    // What no reconciler asks for.
    int find_by_guid(const index_iface_browse_fields&, index_iface_props&) override { return 0; }
    int browse_by_guid(const index_iface_browse_fields&, records&) override { return 0; }
    int browse_file_extents(const index_iface_browse_fields&, records&) override { return 0; }
    int browse_extents_not_backedup(records&) override { return 0; }
    int get_counters(std::map<std::string, std::string>&) override { return 0; }
    int clear_counters() override { return 0; }
    int get_flush_status_msg(std::string&) override { return 0; }
    int get_query_status_msg(std::string&) override { return 0; }
    int dump_caches() override { return 0; }
    int get_num_async_browses() override { return 0; }
    int stop_async_browses() override { return 0; }
    int cleanup() override { return 0; }
    freshness deliver(std::chrono::milliseconds, std::stop_token) override { return {true, 0, 0}; }
    bool ready() const override { return true; }

    /// The paths of all living objects.
    std::set<std::string> paths() const;
    /// The living object at that path; its GUID is empty when there is none.
    index_iface_props at(const std::string& path) const;

    std::map<std::string, object> objects;  // by GUID
    // "add /a", "update /a", "delete /a", "rename /a to /b", "browse /a", in their order
    std::vector<std::string> log;
    std::vector<int> refusals;                              // results of the next changes, the last one first; then 0
    std::set<std::string> failing_browses;                  // paths
    std::function<void(const std::string&)> before_change;  // told the log line

private:
    int take(const std::string& what, const index_iface_props& props);
    void store(const index_iface_props& props, index_iface_time_t version_time);
    std::vector<std::string> walk(const std::string& path) const;
};

}  // namespace share_host
