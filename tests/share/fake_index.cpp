// The rules, kept to what a reconciler can tell apart.
#include "tests/share/fake_index.h"

#include <algorithm>
#include <cerrno>

#include "core/time_units.h"

namespace share_host {
namespace {

std::string leaf_of(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

fake_index::fake_index() {
    index_iface_props root;
    root.object_guid = "root";
    root.path = "/";
    root.vtime = 1;
    objects["root"].newest = root;
}

int fake_index::take(const std::string& what, const index_iface_props& props) {
    if (before_change) before_change(what + " " + props.path);
    if (!refusals.empty()) {
        const int ret = refusals.back();
        refusals.pop_back();
        return ret;
    }
    log.push_back(what + " " + props.path);
    return 0;
}

void fake_index::store(const index_iface_props& props, index_iface_time_t version_time) {
    object& known = objects[props.object_guid];
    index_iface_props& newest = known.newest;
    const bool same_version = newest.version_guid == props.version_guid;
    if (!newest.object_guid.empty() && !same_version && version_time < newest.vtime) return;
    const std::string former_xattr = newest.xattr;
    const index_iface_time_t former_time = newest.vtime;
    newest = props;
    newest.vtime = same_version && former_time != -1 ? former_time : version_time;
    if (props.xattr.empty()) newest.xattr = former_xattr;
    known.alive = true;
}

int fake_index::add_item(const index_iface_props& props) {
    if (const int ret = take("add", props); ret != 0) return ret;
    store(props, props.vtime);
    return 0;
}

int fake_index::update_item(const index_iface_props& props) {
    if (const int ret = take("update", props); ret != 0) return ret;
    store(props, index_iface_sec_to_ns(props.ctime) + ns_per_second - 1);
    return 0;
}

int fake_index::delete_item(const index_iface_props& props) {
    if (const int ret = take("delete", props); ret != 0) return ret;
    objects.at(props.object_guid).alive = false;
    return 0;
}

int fake_index::rename_item(const index_iface_props& props, const std::string& old_parent_guid,
                            const std::string& old_path, bool) {
    const auto known = objects.find(props.object_guid);
    if (known == objects.end() || known->second.newest.parent_guid != old_parent_guid) return EPROTO;
    if (const int ret = take("rename " + old_path + " to", props); ret != 0) return ret;
    store(props, index_iface_sec_to_ns(props.ctime) + ns_per_second - 1);
    return 0;
}

std::vector<std::string> fake_index::walk(const std::string& path) const {
    std::vector<std::string> here{"root"};
    for (std::size_t begin = 1; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        std::vector<std::string> next;
        for (const auto& [guid, child] : objects) {
            const bool below = std::find(here.begin(), here.end(), child.newest.parent_guid) != here.end();
            if (below && child.alive && leaf_of(child.newest.path) == path.substr(begin, end - begin)) {
                next.push_back(guid);
            }
        }
        here = std::move(next);
        begin = end + 1;
    }
    return here;
}

int fake_index::find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) {
    const std::vector<std::string> found = walk(fields.path);
    if (found.empty()) return ENOENT;
    props = objects.at(found.front()).newest;
    return 0;
}

int fake_index::browse_by_path(const index_iface_browse_fields& fields, std::vector<index_iface_props>& results) {
    const std::string path = fields.path;
    log.push_back("browse " + path);
    if (failing_browses.count(path)) return -1;
    const std::vector<std::string> parents = walk(path);
    for (const auto& [guid, child] : objects) {
        const bool below = std::find(parents.begin(), parents.end(), child.newest.parent_guid) != parents.end();
        if (!child.alive || !below) continue;
        results.push_back(child.newest);
        results.back().path = (path == "/" ? "" : path) + "/" + leaf_of(child.newest.path);
    }
    return 0;
}

std::set<std::string> fake_index::paths() const {
    std::set<std::string> result{"/"};
    for (const auto& [guid, child] : objects) {
        if (!child.alive || guid == "root") continue;
        std::string path;
        const object* step = &child;
        while (step->alive && step->newest.object_guid != "root") {
            path.insert(0, "/" + leaf_of(step->newest.path));
            step = &objects.at(step->newest.parent_guid);
        }
        if (step->alive) result.insert(path);
    }
    return result;
}

index_iface_props fake_index::at(const std::string& path) const {
    const std::vector<std::string> found = walk(path);
    return found.empty() ? index_iface_props() : objects.at(found.front()).newest;
}

}  // namespace share_host
