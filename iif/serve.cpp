// The loop of a share host.
#include "iif/serve.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <utility>

#include "iif/output.h"
#include "iif/signals.h"
#include "share/control.h"
#include "share/reconcile.h"

namespace iif {
namespace {

using share_host::reconcile_summary;

std::string change_text(const reconcile_summary& pass) {
    std::string text = count_text(pass.changes(), "change");
    if (pass.changes() == 0) return text;
    text += " (" + std::to_string(pass.added) + " added, " + std::to_string(pass.updated) + " updated, " +
            std::to_string(pass.deleted) + " deleted";
    if (pass.moved > 0) text += ", " + std::to_string(pass.moved) + " moved";
    return text + ")";
}

// The one line that stays of a pass, on standard output.
void print_summary(const reconcile_summary& pass, std::uint64_t batches) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f", pass.seconds);
    std::string line = count_text(pass.objects, "object") + ", " + change_text(pass) + ", " + std::to_string(batches) +
                       (batches == 1 ? " batch, " : " batches, ") + size_text(pass.bytes) + ", " + seconds + " s";
    if (pass.gaps > 0) line += ", " + count_text(pass.gaps, "gap");
    if (pass.refused > 0) line += ", " + std::to_string(pass.refused) + " refused";
    if (!pass.complete) line += ", not finished";
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    if (!pass.problem.empty()) notice(pass.problem);
}

// What one pass came to.
struct pass_result {
    reconcile_summary summary;
    bool delivered = false;
};

class share_loop {
public:
    share_loop(stack& parts, const serve_options& options, std::stop_token stop)
        : parts_(parts), options_(options), stop_(std::move(stop)) {}

    exit_code run() {
        for (;;) {
            const pass_result result = pass();
            if (options_.once) return result_of_once(result);
            if (!parts_.share().ready()) {
                notice("The share was ended through its control socket; start it again to serve it.");
                return exit_code::refused;
            }
            if (!sleep_unless_stopped(stop_, std::chrono::seconds(options_.rescan_s))) return exit_code::done;
        }
    }

private:
    pass_result pass() {
        share_host::reconcile_options walk;
        walk.directory = share_host::served_directory(parts_.state());
        walk.root_record = parts_.state().root_record();
        walk.expected_objects = expected_;
        pass_result result;
        const auto begin = std::chrono::steady_clock::now();
        {
            progress_line line;
            walk.progress = [&](const share_host::reconcile_progress& seen) {
                line.show(seen.objects, seen.changes,
                          seen.estimated_total == 0 ? std::nullopt : std::optional(seen.estimated_total));
            };
            result.summary = share_host::reconcile(parts_.share(), walk, stop_);
        }
        result.delivered = deliver();
        // A pass is over when the index has it all.
        result.summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        if (result.summary.complete) expected_ = result.summary.objects;
        report(result.summary);
        return result;
    }

    // Only after the last delivery does the count of batches belong to the pass.
    bool deliver() {
        const share_host::freshness outcome = parts_.share().deliver(share_host::no_time_limit, stop_);
        if (!outcome.fresh && !stop_.stop_requested())
            notice("The last changes could not be delivered yet; they are kept and tried again.");
        return outcome.fresh;
    }

    void report(const reconcile_summary& summary) {
        const std::uint64_t batches = parts_.share().batches_delivered();
        const bool found_something = summary.changes() > 0 || summary.gaps > 0 || summary.refused > 0;
        const bool is_first = std::exchange(first_, false);
        if (options_.once || is_first || found_something || !summary.complete)
            print_summary(summary, batches - batches_reported_);
        batches_reported_ = batches;
    }

    exit_code result_of_once(const pass_result& result) const {
        if (result.summary.refused > 0) return exit_code::refused;
        return result.summary.whole() && result.delivered ? exit_code::done : exit_code::cannot_reach;
    }

    stack& parts_;
    const serve_options& options_;
    const std::stop_token stop_;
    std::uint64_t expected_ = 0;
    std::uint64_t batches_reported_ = 0;
    bool first_ = true;
};

bool is_inside(const std::string& path, const std::string& directory) {
    return directory == "/" || path == directory || path.starts_with(directory + "/");
}

}  // namespace

share_host::state_dir state_to_serve(const serve_options& options) {
    share_host::state_dir state = share_host::state_for_directory(options.directory, options.state, options.share);
    if (is_inside(state.path, share_host::served_directory(state)))
        notice("The state in " + state.path + " lies inside the served tree, so its own files will keep changing.");
    return state;
}

exit_code serve(stack& parts, const serve_options& options, std::stop_token stop) {
    exit_code code = exit_code::done;
    switch (parts.start(stop)) {
        case share_host::start_result::refused:
            code = exit_code::refused;
            break;
        case share_host::start_result::stopped:
            code = options.once ? exit_code::cannot_reach : exit_code::done;
            break;
        case share_host::start_result::ready: {
            const share_host::control_server control(parts.state().control_socket(),
                                                     {{parts.state().share_name, &parts.share()}});
            code = share_loop(parts, options, stop).run();
            break;
        }
    }
    parts.leave(code);
    return code;
}

}  // namespace iif
