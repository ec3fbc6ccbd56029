// iif extents PATH|--guid GUID|--not-backed-up: the extents of a file, or those of the share that await a backup.
#include <cstdio>

#include "iif/output.h"
#include "iif/query.h"

namespace iif {
namespace {

void print(const std::vector<index_iface_props>& extents, const query_options& options) {
    const output_form form = chosen_form(options.json, options.wide);
    for (const index_iface_props& extent : extents) {
        std::string line = extent_line(extent, form);
        // An extent has no path; what tells it from those of other files is the file's GUID.
        if (options.not_backed_up && form != output_form::json) line += " " + printable(extent.parent_guid);
        std::printf("%s\n", line.c_str());
    }
}

}  // namespace

exit_code run_extents(const query_options& options) {
    query_session session(options);
    index_iface_props file;
    exit_code code = exit_code::done;
    if (options.not_backed_up)
        print(session.extents_not_backed_up(), options);
    else if (session.find(file))
        print(session.extents(file), options);
    else
        code = report_missing(options);
    session.leave(code);
    return code;
}

}  // namespace iif
