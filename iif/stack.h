// One share with all it stands on in this process: the lock of its state, the settings, the embedded server if the
// share has one, and the share host itself.
#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "iif/commands.h"
#include "share/share.h"
#include "share/state_dir.h"

namespace index_server {
class index_server;
}

namespace iif {

/// Opens the log and loads the settings that `options` ask for, and sets what the programs want of the library. The
/// first thing that a subcommand which runs a part of the product does. Throws std::runtime_error.
void prepare_process(const common_options& options);

/// Writes one line to stderr, "iif: " in front, control bytes made visible. Any thread.
void notice(const std::string& sentence);

/// Order of calls: constructor, one of the two use_..., start, the share, leave. One thread; the share itself may then
/// be used by any.
class stack {
public:
    /// Takes the state's lock. Throws share_host::state_in_use.
    explicit stack(share_host::state_dir state);
    ~stack();
    stack(const stack&) = delete;
    stack& operator=(const stack&) = delete;

    /// Starts an index server on loopback with its data below the state, and makes the share known to it.
    void use_embedded_server();
    /// The share's index server runs elsewhere.
    void use_server(const share_host::share_identity& identity);

    /// Makes the share ready. Blocks until it is, trying again with growing pauses.
    share_host::start_result start(std::stop_token stop);

    const share_host::state_dir& state() const { return state_; }
    share_host::share& share() { return *share_; }

    /// Ends everything in order; what is undelivered stays in the journals. Where a call into the library does not come
    /// to its end the process exits here, with `code`.
    void leave(exit_code code);

private:
    void set_identity(const share_host::share_identity& identity);

    share_host::state_dir state_;
    share_host::state_lock lock_;
    share_host::share_identity identity_;
    std::unique_ptr<index_server::index_server> server_;
    std::unique_ptr<share_host::share> share_;
};

}  // namespace iif
