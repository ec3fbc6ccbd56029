// The parts of the command line that stand in files of their own.
#pragma once

#include <functional>

#include "iif/commands.h"

namespace CLI {
class App;
}

namespace iif {

/// The subcommand that the command line asks for.
struct chosen {
    std::function<exit_code()> run;
};

/// The options of common_options.
void add_common(CLI::App& command, common_options& options);

/// `iif admin` with its subcommands. Both records outlive the app.
void add_admin(CLI::App& app, admin_options& options, chosen& choice);

}  // namespace iif
