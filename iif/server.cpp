// iif server: the index server alone.
#include "server/index_server.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "hostkit/settings.h"
#include "iif/signals.h"
#include "iif/stack.h"
#include "server/settings_reader.h"

namespace iif {
namespace {

index_server::server_settings settings_for(const server_options& options) {
    index_server::server_settings settings = index_server::read_server_settings(hostkit::process_settings());
    settings.data_dir = options.data;
    if (options.listen) settings.listen_address = *options.listen;
    if (options.port) settings.port = *options.port;
    if (options.tls_certificate) settings.tls_certificate = *options.tls_certificate;
    if (options.tls_key) settings.tls_key = *options.tls_key;
    settings.allow_plain_off_loopback = settings.allow_plain_off_loopback || options.allow_plain;
    return settings;
}

// Stops the server. A collect file may take longer to apply than anybody wants to wait: past the limit the process
// ends in the middle of it, which leaves nothing of the file in the index and the file itself in the spool.
void stop_within(index_server::index_server& server, std::chrono::milliseconds limit) {
    std::jthread watchdog([limit](std::stop_token done) {
        if (!sleep_unless_stopped(done, limit)) return;
        notice("A collect file is still being applied; it stays in the spool and is applied at the next start.");
        std::fflush(nullptr);
        std::_Exit(static_cast<int>(exit_code::done));
    });
    server.stop();
}

}  // namespace

exit_code run_server(const server_options& options) {
    signal_watch signals(signal_watch::hangups::are_told);
    prepare_process(options.common);
    const index_server::server_settings settings = settings_for(options);
    index_server::index_server server(settings);
    server.start();
    std::printf("%s\nadmin token file: %s/admin_token\n", server.base_url().c_str(), options.data.c_str());
    std::fflush(stdout);
    while (signals.wait_for_hangup())
        server.reload_certificate();
    // Requests under way have their own limit, within this one.
    stop_within(server, std::chrono::milliseconds(2 * settings.stop_timeout_ms));
    return exit_code::done;
}

}  // namespace iif
