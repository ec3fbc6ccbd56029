// Steps 1 and 2 of a pass: the directories that the index knows.
#include <map>

#include "share/tree_pass.h"
#include "share/xattr_text.h"

namespace share_host {
namespace {

constexpr unsigned most_unanswered_browses = 3;

}  // namespace

/// What the index holds of one directory. Several objects may stand under one name when a replacement was reported and
/// the end of the former object was not.
struct tree_pass::known_children {
    std::multimap<std::string, index_iface_props> by_name;

    explicit known_children(std::vector<index_iface_props> children) {
        for (index_iface_props& child : children) {
            std::string name = disk_name_of(child.path);
            if (!name.empty()) by_name.emplace(std::move(name), std::move(child));
        }
    }
};

bool tree_pass::run(const index_iface_props& known_root, const disk_entry& root) {
    reporter_.count_object(root.info);
    index_iface_props current = make_record(known_root.object_guid, {"", ""}, root);
    if (!holds_same_version(known_root, current)) update_or_redate(known_root, std::move(current), false);
    return compare_known(directory_at("", known_root.object_guid, root)) && expand_gone() && report_new() &&
           report_gone();
}

tree_pass::directory tree_pass::directory_at(const std::string& disk_path, const std::string& guid,
                                             const disk_entry& entry) {
    return {disk_path, guid, entry.info.st_dev, entry.info.st_ino};
}

hostkit::descriptor tree_pass::open_as_found(const directory& wanted) {
    hostkit::descriptor fd = open_directory_below(root_fd_, wanted.disk_path);
    const std::string shown = index_path_of(wanted.disk_path);
    if (!fd) {
        if (!means_vanished(errno)) reporter_.count_gap("cannot read the directory " + shown);
        return fd;
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || info.st_dev != wanted.device || info.st_ino != wanted.inode) {
        reporter_.count_gap("the directory " + shown + " was replaced during the pass");
        fd = hostkit::descriptor();
    }
    return fd;
}

bool tree_pass::compare_known(directory root) {
    known_directories_.push_back(std::move(root));
    while (!known_directories_.empty() && !reporter_.ended()) {
        // The index is out of reach, and to find that out for each directory anew would take for ever.
        if (unanswered_browses_ == most_unanswered_browses) return false;
        const directory here = std::move(known_directories_.back());
        known_directories_.pop_back();
        compare_directory(here);
    }
    return !reporter_.ended();
}

void tree_pass::compare_directory(const directory& here) {
    const std::string index_path = index_path_of(here.disk_path);
    const hostkit::descriptor fd = open_as_found(here);
    std::vector<std::string> names;
    std::vector<index_iface_props> children;
    if (!fd || list_names(fd.get(), names) != 0) {
        if (fd) reporter_.count_gap("cannot read the directory " + index_path);
        known_names_missed_ = true;
        return;
    }
    if (const int ret = reporter_.browse(index_path, here.guid, children); ret != 0) {
        reporter_.count_gap("the index does not tell what it holds below " + index_path + " (" + std::to_string(ret) +
                            ")");
        known_names_missed_ = true;
        ++unanswered_browses_;
        return;
    }
    unanswered_browses_ = 0;
    known_children known(std::move(children));
    new_names added{here, false, {}};
    for (const std::string& name : names) {
        if (reporter_.ended()) return;
        if (!compare_name(here, fd.get(), name, known)) added.names.push_back(name);
    }
    if (!added.names.empty()) new_.push_back(std::move(added));
    for (auto& [name, child] : known.by_name)
        gone_.add(std::move(child));
}

/// False when the index does not know the object under this name. What was dealt with leaves `known`.
bool tree_pass::compare_name(const directory& here, int fd, const std::string& name, known_children& known) {
    const auto [begin, end] = known.by_name.equal_range(name);
    if (begin == end) return false;
    disk_entry entry;
    if (const int error = read_entry(fd, name, handles_, entry); error != 0) {
        if (means_vanished(error)) return true;
        reporter_.count_gap("cannot look at " + index_path_of(join_disk_path(here.disk_path, name)));
        known.by_name.erase(begin, end);
        known_names_missed_ = true;
        return true;
    }
    const std::string plain = plain_guid(entry.handle);
    for (auto match = begin; match != end; ++match) {
        const std::string& guid = match->second.object_guid;
        if (guid == plain) {
            if (entry.has_further_names()) used_plain_guids_.insert(plain);
        } else if (entry.is_directory() || guid != further_name_guid(entry.handle, here.guid, name)) {
            continue;
        }
        compare_object(match->second, here, name, entry);
        known.by_name.erase(match);
        return true;
    }
    return false;
}

void tree_pass::compare_object(const index_iface_props& known, const directory& parent, const std::string& name,
                               const disk_entry& entry) {
    reporter_.count_object(entry.info);
    const std::string disk_path = join_disk_path(parent.disk_path, name);
    index_iface_props current = make_record(known.object_guid, {disk_path, parent.guid}, entry);
    if (!holds_same_version(known, current)) update_or_redate(known, std::move(current), false);
    if (entry.is_directory()) known_directories_.push_back(directory_at(disk_path, known.object_guid, entry));
}

/// Reports the current state of an object that the index holds in another one.
void tree_pass::update_or_redate(const index_iface_props& known, index_iface_props current, bool moved) {
    if (current.xattr.empty() && !known.xattr.empty()) current.xattr = no_xattr_text;
    if (is_dated_before(current, known)) {
        // Only an addition carries a version time of its own. It is a new version of the object all the same.
        current.vtime = known.vtime + 1;
        reporter_.redate(current, moved);
    } else if (moved) {
        reporter_.move(known, current);
    } else {
        reporter_.update(current);
    }
}

bool tree_pass::expand_gone() {
    for (std::size_t position = 0; position < gone_.size() && !reporter_.ended(); ++position) {
        if (!S_ISDIR(gone_.at(position).mode)) continue;
        std::vector<index_iface_props> children;
        const std::string path = gone_.at(position).path;
        if (const int ret = reporter_.browse(path, gone_.at(position).object_guid, children); ret != 0) {
            reporter_.set_problem("the index does not tell what it holds below " + path + " (" + std::to_string(ret) +
                                  ")");
            return false;
        }
        for (index_iface_props& child : children)
            gone_.add(std::move(child));
    }
    return !reporter_.ended();
}

}  // namespace share_host
