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
    int find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) override;
    int browse_by_path(const index_iface_browse_fields& fields, std::vector<index_iface_props>& results) override;
    freshness deliver(std::chrono::milliseconds timeout, std::stop_token stop) override;
    bool ready() const override { return true; }

    /// The paths of all living objects.
    std::set<std::string> paths() const;
    /// The living object at that path; its GUID is empty when there is none.
    index_iface_props at(const std::string& path) const;

    std::map<std::string, object> objects;  // by GUID
    std::vector<std::string> log;           // "add /a", "update /a", "delete /a", "browse /a" in their order
    std::vector<int> refusals;              // results of the next changes, the last one first; then 0
    std::set<std::string> failing_browses;  // paths
    std::function<void(const std::string&)> before_change;  // told the log line

private:
    int take(const std::string& what, const index_iface_props& props);
    void store(const index_iface_props& props, index_iface_time_t version_time);
    std::vector<std::string> walk(const std::string& path) const;
};

}  // namespace share_host
