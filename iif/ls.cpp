// iif ls PATH|--guid GUID: the entries of a directory, or the one object when it is none.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "iif/output.h"
#include "iif/query.h"

namespace iif {
namespace {

std::string leaf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

void print(const index_iface_props& props, const std::string& label, const query_options& options) {
    const output_form form = chosen_form(options.json, options.wide);
    // With fwrite, for a name is any bytes.
    const std::string line = object_line(props, label, form, is_terminal(STDOUT_FILENO)) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
}

}  // namespace

exit_code run_ls(const query_options& options) {
    query_session session(options);
    index_iface_props props;
    exit_code code = exit_code::done;
    // The browse of what is not there is an empty list, so the find goes first.
    if (!session.find(props))
        code = report_missing(options);
    else if (!props.mode_valid || S_ISDIR(props.mode))
        for (const index_iface_props& entry : session.list())
            print(entry, leaf(entry.path), options);
    else
        print(props, props.path, options);
    session.leave(code);
    return code;
}

}  // namespace iif
