// A random life of a namespace, told twice: as the state at each second, which is simple enough to be believed, and as
// the collect files that a host would send of it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace index_server {

/// What lives under a GUID.
struct model_node {
    std::string parent;
    std::string name;
    std::string version;
    bool is_directory = false;
    long long size = 0;
    long long changed_s = 0;
};

/// The living of one moment by GUID. The root is not among them.
using model_state = std::map<std::string, model_node>;

/// The path of what lives under the GUID, from the root on; nothing when it, or a directory above it, does not live.
std::optional<std::string> path_in(const model_state& state, const std::string& root, const std::string& guid);
/// The names in a directory, in order, with a space between.
std::string names_in(const model_state& state, const std::string& directory);

/// The same seed gives the same life. In odd seeds each change is a version of its own; in even ones the changes of one
/// second are one version, as with a host whose versions come from the time of the change.
class random_namespace {
public:
    random_namespace(unsigned seed, std::string root);

    /// One change, in the second of the one before it or a little later.
    void change();
    /// The lines of the changes since the last file, in the order and merged as the library sends them. Unless all are
    /// asked for, an addition may be held back: it then arrives behind the changes that followed it.
    std::vector<std::string> take_file(bool all);
    bool holds_back() const { return !held_back_.empty(); }

    /// The state after the last change of the second.
    const model_state& at(long long second) const;
    const model_state& now() const { return live_; }
    const std::set<std::string>& guids() const { return guids_; }
    long long first_second() const { return past_.begin()->first; }
    long long last_second() const { return second_; }
    /// Below `count`; part of the life that the seed gives.
    std::size_t pick(std::size_t count) { return random_() % count; }

private:
    enum class kind { addition, update, rename, deletion };
    struct line {
        kind what;
        std::string object;
        std::string version;
        bool is_first;  ///< tells of an object that was not there before
        std::map<std::string, std::string> fields;
    };

    void create();
    void revive();
    void modify();
    void rename();
    void remove();
    void remove_tree(const std::string& guid, bool tell_it, bool tell_below);
    void clear_place(const std::string& parent, const std::string& name, const std::string& keep);
    void tell(kind what, const std::string& guid, bool whole);
    void touch(const std::string& guid);
    std::string any_live(bool directories_only);
    bool is_below(const std::string& guid, const std::string& above) const;
    bool may_be_held_back(const line& one);

    std::mt19937 random_;
    const std::string root_;
    const bool versions_by_second_;
    long long second_ = 1000;
    unsigned counter_ = 0;
    model_state live_;
    std::map<long long, model_state> past_;
    std::map<std::string, model_node> deleted_files_;
    std::set<std::string> guids_;
    std::vector<line> pending_;
    std::vector<line> held_back_;
};

}  // namespace index_server
