// iif share DIR --server URL: a share host against an index server that runs elsewhere.
#include "iif/registration.h"
#include "iif/serve.h"
#include "iif/signals.h"

namespace iif {

exit_code run_share(const serve_options& options) {
    const signal_watch signals;
    prepare_process(options.common);
    stack parts(state_to_serve(options));
    const auto identity = identity_at_server(parts.state(), options, signals.stop());
    if (!identity) return options.once ? exit_code::cannot_reach : exit_code::done;
    parts.use_server(*identity);
    return serve(parts, options, signals.stop());
}

}  // namespace iif
