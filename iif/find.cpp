// iif find PATH|--guid GUID: one object.
#include <unistd.h>

#include <cstdio>

#include "iif/output.h"
#include "iif/query.h"

namespace iif {

exit_code run_find(const query_options& options) {
    query_session session(options);
    index_iface_props props;
    exit_code code = exit_code::done;
    if (session.find(props)) {
        const output_form form = chosen_form(options.json, options.wide);
        std::printf("%s\n", object_line(props, props.path, form, is_terminal(STDOUT_FILENO)).c_str());
    } else {
        code = report_missing(options);
    }
    session.leave(code);
    return code;
}

}  // namespace iif
