// Answers from a stack of this process, for as long as no host serves the share.
#include <cerrno>
#include <thread>

#include "iif/query_source.h"
#include "iif/signals.h"
#include "iif/stack.h"

namespace iif {
namespace {

class stack_source final : public query_source {
public:
    stack_source(const share_host::state_dir& state, std::chrono::milliseconds timeout,
                 std::chrono::milliseconds patience)
        : parts_(state), timeout_(timeout) {
        const auto identity = share_host::load_identity(state);
        if (!identity)
            throw program_error(exit_code::cannot_reach, "The share " + state.share_name +
                                                             " has no index yet; make one with iif up or iif share.");
        if (identity->server_url.empty())
            parts_.use_embedded_server();
        else
            parts_.use_server(*identity);
        start(patience);
    }

    answer ask(query_op op, const index_iface_browse_fields& fields) override {
        answer result;
        result.state = parts_.share().deliver(timeout_, signals_.stop());
        result.ret = ask_share(op, fields, result.objects);
        return result;
    }

    int flush() override {
        const share_host::freshness state = parts_.share().deliver(timeout_, signals_.stop());
        if (state.fresh) return 0;
        return state.ret != 0 ? state.ret : ETIMEDOUT;
    }

    void leave(exit_code code) override { parts_.leave(code); }

private:
    int ask_share(query_op op, const index_iface_browse_fields& fields, std::vector<index_iface_props>& objects) {
        switch (op) {
            case query_op::find_by_path:
                return parts_.share().find_by_path(fields, objects.emplace_back());
            case query_op::find_by_guid:
                return parts_.share().find_by_guid(fields, objects.emplace_back());
            case query_op::browse_by_path:
                return parts_.share().browse_by_path(fields, objects);
            case query_op::browse_by_guid:
                return parts_.share().browse_by_guid(fields, objects);
            case query_op::browse_file_extents:
                return parts_.share().browse_file_extents(fields, objects);
            case query_op::browse_extents_not_backedup:
                return parts_.share().browse_extents_not_backedup(objects);
        }
        return EINVAL;
    }

    void start(std::chrono::milliseconds patience) {
        // A start tries for as long as it may; a query does not have that long.
        std::stop_source give_up;
        const std::stop_callback on_signal(signals_.stop(), [&] { give_up.request_stop(); });
        const std::jthread timer([&](std::stop_token started) {
            if (sleep_unless_stopped(started, patience)) give_up.request_stop();
        });
        switch (parts_.start(give_up.get_token())) {
            case share_host::start_result::ready:
                return;
            case share_host::start_result::stopped:
                fail(exit_code::cannot_reach, "The index of the share does not answer; is its server running?");
            case share_host::start_result::refused:
                fail(exit_code::refused, "The share cannot be opened until that is mended.");
        }
    }

    [[noreturn]] void fail(exit_code code, const char* sentence) {
        parts_.leave(code);
        throw program_error(code, sentence);
    }

    const signal_watch signals_;
    stack parts_;
    const std::chrono::milliseconds timeout_;
};

}  // namespace

std::unique_ptr<query_source> make_stack_source(const share_host::state_dir& state, std::chrono::milliseconds timeout,
                                                std::chrono::milliseconds patience) {
    return std::make_unique<stack_source>(state, timeout, patience);
}

}  // namespace iif
