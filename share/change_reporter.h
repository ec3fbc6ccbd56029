// Hands changes to the share, insists where the library refuses them for a while, and keeps the pass's numbers.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <functional>
#include <stop_token>
#include <string>

#include "share/reconcile.h"
#include "share/tree_counter.h"

namespace share_host {

class change_reporter {
public:
    change_reporter(index_port& index, const reconcile_options& options, std::stop_token stop);

    /// Each gives true when the library took the change, and counts it.
    bool add(const index_iface_props& props);
    bool update(const index_iface_props& props);
    /// The object that stood where `known` says is now where `props` says.
    bool move(const index_iface_props& known, const index_iface_props& props);
    bool remove(const index_iface_props& props);
    /// A changed or moved object whose record carries a version time of its choice.
    bool redate(const index_iface_props& props, bool moved);

    /// Browses the directory at the index path, insisting for a few seconds. Only children of the directory with that
    /// GUID are given, since several may have stood at one path. 0 or the last result.
    int browse(const std::string& index_path, const std::string& guid, std::vector<index_iface_props>& children);
    int find(const std::string& index_path, index_iface_props& props);

    /// One more name was seen.
    void count_object(const struct stat& info);
    /// One more directory could not be compared. The first reason is kept.
    void count_gap(const std::string& reason);
    void set_problem(const std::string& reason);

    /// True once the pass has to end early: a stop was requested, or the share is leaving.
    bool ended() const { return lost_ || stop_.stop_requested(); }

    /// Takes the estimate from a count that goes on beside the pass, and that outlives this object's use.
    void estimate_from(const tree_counter& counter) { counter_ = &counter; }
    const std::stop_token& stop() const { return stop_; }
    /// The numbers so far.
    reconcile_summary& summary() { return summary_; }
    double seconds() const;

private:
    bool insist(const std::function<int()>& change, const index_iface_props& props, std::uint64_t& counter);
    int query(const std::function<int()>& ask);
    void pause(std::chrono::milliseconds time);
    void show_progress();

    index_port& index_;
    const reconcile_options& options_;
    const std::stop_token stop_;
    const std::chrono::steady_clock::time_point began_;
    std::chrono::steady_clock::time_point shown_;
    const tree_counter* counter_ = nullptr;
    bool lost_ = false;
    reconcile_summary summary_;
};

}  // namespace share_host
