// Steps 3 and 4 of a pass: what is new, what has moved, and what is gone.
#include <ctime>

#include "core/time_units.h"
#include "share/tree_pass.h"

namespace share_host {
namespace {

index_iface_time_t now_ns() {
    struct timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return index_iface_sec_to_ns(now.tv_sec) + now.tv_nsec;
}

}  // namespace

bool tree_pass::report_new() {
    while (!new_.empty() && !reporter_.ended()) {
        const new_names found = std::move(new_.back());
        new_.pop_back();
        report_names(found);
    }
    return !reporter_.ended();
}

void tree_pass::report_names(const new_names& found) {
    const hostkit::descriptor fd = open_as_found(found.parent);
    if (!fd) return;
    std::vector<std::string> listed;
    if (found.all && list_names(fd.get(), listed) != 0) {
        reporter_.count_gap("cannot read the directory " + index_path_of(found.parent.disk_path));
        return;
    }
    for (const std::string& name : found.all ? listed : found.names) {
        if (reporter_.ended()) return;
        disk_entry entry;
        const int error = read_entry(fd.get(), name, handles_, entry);
        if (error == 0) {
            report_name(found.parent, name, entry);
        } else if (!means_vanished(error)) {
            reporter_.count_gap("cannot look at " + index_path_of(join_disk_path(found.parent.disk_path, name)));
        }
    }
}

void tree_pass::report_name(const directory& parent, const std::string& name, const disk_entry& entry) {
    reporter_.count_object(entry.info);
    const std::string guid = choose_guid(parent, name, entry);
    const std::string disk_path = join_disk_path(parent.disk_path, name);
    index_iface_props current = make_record(guid, {disk_path, parent.guid}, entry);
    if (const index_iface_props* known = gone_.find(guid)) {
        const bool moved = known->parent_guid != parent.guid || disk_name_of(known->path) != name;
        if (moved || !holds_same_version(*known, current)) update_or_redate(*known, std::move(current), moved);
        gone_.set_found(guid);
    } else if (!reporter_.add(current)) {
        // Nothing below a directory that the index did not take could be found there.
        return;
    }
    if (entry.is_directory()) new_.push_back({directory_at(disk_path, guid, entry), true, {}});
}

/// The first name of an inode has the plain GUID for good. Every name that the index knows has been seen by now, but
/// for those in directories that could not be compared.
std::string tree_pass::choose_guid(const directory& parent, const std::string& name, const disk_entry& entry) {
    std::string plain = plain_guid(entry.handle);
    if (entry.is_directory()) return plain;
    std::string further = further_name_guid(entry.handle, parent.guid, name);
    if (gone_.find(further)) return further;
    if (!entry.has_further_names()) return plain;
    if (known_names_missed_ && !gone_.find(plain)) return further;
    return used_plain_guids_.insert(plain).second ? plain : further;
}

bool tree_pass::report_gone() {
    const index_iface_time_t moment = now_ns();
    for (const index_iface_props* known : gone_.remaining()) {
        if (reporter_.ended()) return false;
        reporter_.remove(make_deletion(*known, moment));
    }
    return !reporter_.ended();
}

}  // namespace share_host
