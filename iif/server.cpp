// iif server: the index server alone.
#include "server/index_server.h"

#include <cstdio>

#include "iif/signals.h"
#include "iif/stack.h"

namespace iif {

exit_code run_server(const server_options& options) {
    const signal_watch signals;
    prepare_process(options.common);
    index_server::server_settings settings;
    settings.data_dir = options.data;
    settings.listen_address = options.listen;
    settings.port = options.port;
    settings.allow_plain_off_loopback = options.allow_plain;
    index_server::index_server server(std::move(settings));
    server.start();
    std::printf("%s\nadmin token file: %s/admin_token\n", server.base_url().c_str(), options.data.c_str());
    std::fflush(stdout);
    while (sleep_unless_stopped(signals.stop(), std::chrono::hours(24))) {
    }
    server.stop();
    return exit_code::done;
}

}  // namespace iif
