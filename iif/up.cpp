// iif up DIR: an embedded index server and a share host in one process.
#include "iif/serve.h"
#include "iif/signals.h"

namespace iif {

exit_code run_up(const serve_options& options) {
    const signal_watch signals;
    prepare_process(options.common);
    stack parts(state_to_serve(options));
    parts.use_embedded_server();
    return serve(parts, options, signals.stop());
}

}  // namespace iif
