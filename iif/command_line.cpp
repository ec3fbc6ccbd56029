// Options that many subcommands take.
#include "iif/command_line.h"

#include <CLI/CLI.hpp>

namespace iif {

void add_common(CLI::App& command, common_options& options) {
    command.add_option("--config", options.config, "INI file with settings (default: $INDEX_IFACE_CONFIG)");
    command.add_option("--log-level", options.log_level, "-1 errors ... 7 everything (default 0)")
        ->check(CLI::Range(-1, 7));
    command.add_option("--log-file", options.log_file, "Write the log there instead of standard error");
}

}  // namespace iif
