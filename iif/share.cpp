// iif share DIR --server URL: a share host against an index server that runs elsewhere.
#include "iif/registration.h"
#include "iif/serve.h"
#include "iif/signals.h"

namespace iif {

exit_code run_share(const serve_options& options) {
    const signal_watch signals;
    prepare_process(options.common);
    stack parts(state_to_serve(options));
    const auto identities = identities_at_server({parts.state()}, options.server, signals.stop());
    if (identities.empty()) return options.once ? exit_code::cannot_reach : exit_code::done;
    parts.use_server(identities.front());
    return serve(parts, options, signals.stop());
}

}  // namespace iif
