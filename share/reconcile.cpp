// The frame around a pass: is this the directory that was indexed before, does the index answer, and how did it go.
#include "share/reconcile.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

#include "share/identity.h"
#include "share/state_files.h"
#include "share/tree_counter.h"
#include "share/tree_pass.h"

namespace share_host {
namespace {

/// True when the root is the one that was indexed before, or the first one. Otherwise a gap is counted.
bool is_the_same_root(const reconcile_options& options, const disk_entry& root, change_reporter& reporter) {
    if (options.root_record.empty()) return true;
    const std::string guid = plain_guid(root.handle);
    try {
        const std::optional<std::string> recorded = read_state_file(options.root_record);
        if (!recorded) replace_state_file(options.root_record, guid);
        if (!recorded || *recorded == guid) return true;
        reporter.count_gap(options.directory + " is not the directory that was indexed before; mount what belongs " +
                           "there, or remove " + options.root_record + " to index it as it is now");
    } catch (const std::system_error& failure) {
        reporter.count_gap(failure.what());
    }
    return false;
}

bool run_pass(index_port& index, const reconcile_options& options, change_reporter& reporter, int root_fd) {
    handle_reader handles;
    disk_entry root;
    if (const int error = read_entry(root_fd, "", handles, root); error != 0) {
        reporter.count_gap("cannot look at " + options.directory + ": " + std::strerror(error));
        return false;
    }
    if (!is_the_same_root(options, root, reporter)) return false;
    const freshness state = index.deliver(no_time_limit, reporter.stop());
    if (!state.fresh) {
        if (!reporter.ended()) {
            reporter.set_problem("earlier changes could not be delivered (" + std::to_string(state.ret) + ")");
        }
        return false;
    }
    index_iface_props known_root;
    if (const int ret = reporter.find("/", known_root); ret != 0) {
        reporter.count_gap("the index does not tell the root of the share (" + std::to_string(ret) + ")");
        return false;
    }
    return tree_pass(root_fd, reporter).run(known_root, root);
}

}  // namespace

reconcile_summary reconcile(index_port& index, const reconcile_options& options, std::stop_token stop) {
    const hostkit::descriptor root(::open(options.directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::optional<tree_counter> counter;
    change_reporter reporter(index, options, std::move(stop));
    if (root) {
        if (options.expected_objects == 0 && options.progress) {
            counter.emplace(root.get());
            reporter.estimate_from(*counter);
        }
        reporter.summary().complete = run_pass(index, options, reporter, root.get());
    } else {
        reporter.count_gap("cannot read " + options.directory + ": " + std::strerror(errno));
    }
    reconcile_summary result = reporter.summary();
    result.seconds = reporter.seconds();
    return result;
}

}  // namespace share_host
