// Bringing a share up. A failed object is thrown away: one that failed late would wait on its own outstanding batch.
#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <filesystem>

#include "share/journal_check.h"
#include "share/share.h"
#include "share/share_state.h"

namespace share_host {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds longest_pause = 30s;

std::string describe_start_failure(int ret) {
    // Start-up answers EINVAL where the management exchange failed; damaged journals were refused before it.
    if (ret < 0 || ret == EINVAL) return "the index server does not answer, or does not know this share";
    if (ret == EIO) return "the index server reports an error, or did not take the changes of the last run";
    return std::strerror(ret);
}

/// False when a stop ended the pause.
bool pause_for(std::chrono::seconds time, const std::stop_token& stop) {
    std::mutex lock;
    std::condition_variable_any never;
    std::unique_lock guard(lock);
    return !never.wait_for(guard, stop, time, [&] { return stop.stop_requested(); });
}

/// Why the share's directory cannot be worked in; empty when it can.
std::string prepare_directory(const share_options& options) {
    try {
        if (std::filesystem::create_directories(options.root_dir)) ::chmod(options.root_dir.c_str(), 0700);
        return journal_refusal(options.root_dir + "/" + options.name);
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

std::unique_ptr<index_iface> make_object(const share_options& options) {
    index_iface::args arguments;
    arguments.subclient_id = options.subclient_id;
    arguments.flush_after_count = options.flush_after_count;
    arguments.flush_after_seconds = options.flush_after_seconds;
    arguments.root_dir = options.root_dir.c_str();
    arguments.share_name = options.name.c_str();
    return std::make_unique<index_iface>(arguments);
}

int init_object(index_iface& object) {
    try {
        return object.init();
    } catch (const std::exception&) {
        return EIO;
    }
}

}  // namespace

start_result share::start(std::stop_token stop) {
    for (std::chrono::seconds pause = 1s; !stop.stop_requested(); pause = std::min(pause * 2, longest_pause)) {
        if (const std::string refusal = prepare_directory(state_->options); !refusal.empty()) {
            state_->notice(refusal);
            return start_result::refused;
        }
        std::unique_ptr<index_iface> object = make_object(state_->options);
        const int ret = init_object(*object);
        if (ret == 0) {
            const std::lock_guard guard(state_->lock);
            state_->object = object.release();
            state_->worker = std::make_unique<delivery_worker>([raw = state_->object] { return raw->flush(); });
            state_->open = true;
            return start_result::ready;
        }
        object.reset();
        if (stop.stop_requested()) break;  // what was cut short says nothing about the server
        state_->notice("share " + state_->options.name + " cannot start (" + std::to_string(ret) + "): " +
                       describe_start_failure(ret) + "; trying again in " + std::to_string(pause.count()) + " s");
        if (!pause_for(pause, stop)) break;
    }
    return start_result::stopped;
}

}  // namespace share_host
