// One pass over a tree.
//
// The pass has four steps, and memory only for what differs:
//   1  compare_known   walks the directories that the index knows. Names that match are compared, names that do not are
//                      put aside: new ones by name, missing ones with their record.
//   2  expand_gone     adds what the index holds below the missing directories.
//   3  report_new      walks what was put aside as new, without asking the index any more. What is among the missing
//                      has moved, which is one rename; what stands below a moved directory is compared where it now
//                      is, and most of it is as it was.
//   4  report_gone     reports what is still missing.
// Moves can be told from additions because all that is missing is known before the first new name is looked at.
#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "share/change_reporter.h"
#include "share/disk_entry.h"
#include "share/gone_objects.h"
#include "share/object_record.h"

namespace share_host {

class tree_pass {
public:
    /// `root_fd` is open on the tree's root.
    tree_pass(int root_fd, change_reporter& reporter) : root_fd_(root_fd), reporter_(reporter) {}

    /// True when the pass came to its end.
    bool run(const index_iface_props& known_root, const disk_entry& root);

private:
    /// A directory to walk, and which one it was when it was found.
    struct directory {
        std::string disk_path;
        std::string guid;
        dev_t device = 0;
        ino_t inode = 0;
    };
    /// New names in a directory. `all` stands for whatever is in it.
    struct new_names {
        directory parent;
        bool all = false;
        std::vector<std::string> names;
    };
    struct known_children;

    bool compare_known(directory root);
    void compare_directory(const directory& here);
    bool compare_name(const directory& here, int fd, const std::string& name, known_children& known);
    void compare_object(const index_iface_props& known, const directory& parent, const std::string& name,
                        const disk_entry& entry);
    bool expand_gone();
    bool report_new();
    void report_names(const new_names& found);
    void report_name(const directory& parent, const std::string& name, const disk_entry& entry);
    std::string choose_guid(const directory& parent, const std::string& name, const disk_entry& entry);
    bool report_gone();

    hostkit::descriptor open_as_found(const directory& wanted);
    void update_or_redate(const index_iface_props& known, index_iface_props current, bool moved);
    static directory directory_at(const std::string& disk_path, const std::string& guid, const disk_entry& entry);

    const int root_fd_;
    change_reporter& reporter_;
    handle_reader handles_;
    std::vector<directory> known_directories_;  // a stack
    std::vector<new_names> new_;                // a stack
    gone_objects gone_;
    std::unordered_set<std::string> used_plain_guids_;  // of inodes with several names
    unsigned unanswered_browses_ = 0;                   // in a row
    bool known_names_missed_ = false;  // a known directory could not be compared, so a first name may be in there
};

}  // namespace share_host
