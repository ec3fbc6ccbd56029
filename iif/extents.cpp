// iif extents PATH|--guid GUID: the extents of a file.
#include <cstdio>

#include "iif/output.h"
#include "iif/query.h"

namespace iif {

exit_code run_extents(const query_options& options) {
    query_session session(options);
    index_iface_props file;
    exit_code code = exit_code::done;
    if (session.find(file)) {
        for (const index_iface_props& extent : session.extents(file))
            std::printf("%s\n", extent_line(extent, chosen_form(options.json, options.wide)).c_str());
    } else {
        code = report_missing(options);
    }
    session.leave(code);
    return code;
}

}  // namespace iif
