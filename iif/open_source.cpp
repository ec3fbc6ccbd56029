// From the host that serves the share, or else from a stack of this process.
#include <thread>

#include "iif/query_source.h"

namespace iif {
namespace {

using namespace std::chrono_literals;

// How long a host may take to come up, or an index to answer, before a command gives up.
constexpr auto patience = 30s;

}  // namespace

// A process that holds the lock without a socket is one that comes up, goes down, or answers a query of its own.
std::unique_ptr<query_source> open_source(const share_host::state_dir& state, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        if (auto source = try_socket_source(state, timeout)) return source;
        try {
            return make_stack_source(state, timeout, patience);
        } catch (const share_host::state_in_use& in_use) {
            if (std::chrono::steady_clock::now() > deadline)
                throw program_error(exit_code::cannot_reach,
                                    std::string(in_use.what()) + " and does not answer; look at that process.");
        }
        std::this_thread::sleep_for(100ms);
    }
}

}  // namespace iif
