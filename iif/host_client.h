// The asking side of a share's host, for the subcommands that are clients of its control socket.
#pragma once

#include <boost/json/object.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "share/control.h"
#include "share/state_dir.h"

namespace iif {

class host_client {
public:
    /// Connects to the host that serves the share; null when none does. Throws std::system_error on other failures.
    static std::unique_ptr<host_client> connect(const share_host::state_dir& state);

    /// As connect, but throws program_error when no host serves the share.
    static std::unique_ptr<host_client> require(const share_host::state_dir& state);

    /// Sends a request about the share and returns the answer, which has `ret`. Throws program_error when the host
    /// refuses it or its answer makes no sense. Not for several threads.
    boost::json::object ask(boost::json::object request);

    /// An operation without arguments.
    boost::json::object ask(const char* op) { return ask(boost::json::object{{"op", op}}); }

    explicit host_client(const share_host::state_dir& state);

private:
    const std::string share_;
    share_host::control_client client_;
};

/// For an answer that lacks what it has to have.
[[noreturn]] void throw_senseless_answer();

}  // namespace iif
