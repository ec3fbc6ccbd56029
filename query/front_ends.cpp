// The public queries. A find merges two truths: the caches hold what has not reached the index, the server the rest. A
// browse cannot merge, so it pushes the directory's pending changes out first and then asks the server alone.
//
//   lookup   local idx_ops   server asked   answer of a find
//   0        DEL             no             ENOENT: the object is gone, whatever the server says
//   0        ADD             no             the local record: the server cannot know it yet
//   0        UPD             yes            the server's record with the local one laid over it
//   0        REN             yes            the server's record alone
//   other    none            yes            the server's record alone
#include <cerrno>

#include "core/index_iface.h"
#include "core/log_line.h"

int index_iface::find_by_path_in_all(const index_iface_browse_fields& fields, index_iface_props& props) {
    if (fields.path == nullptr || fields.path[0] == '\0') {
        IIF_LOG_ERROR("INDEX_IFACE: Error: path is NULL or empty.");
        return EINVAL;
    }
    index_iface_props local;
    const int found = find_props_in_cache_by_path(fields, local);
    if (found == 0 && local.idx_ops == index_iface_props::DEL) {
        return ENOENT;
    }
    if (local.idx_ops == index_iface_props::ADD) {
        props = local;
        return 0;
    }
    index_iface_props answer;  // the caller's record stays untouched by a search that fails
    const int ret = find_by_path_zysearch(fields, answer);
    if (ret != 0) {
        return ret;
    }
    if (local.idx_ops == index_iface_props::UPD) {
        copy_valid_props(local, answer);
    }
    props = answer;
    return 0;
}

int index_iface::find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) {
    const int ret = find_by_path_in_all(fields, props);
    if (ret == 0) {
        props.name = props.path.substr(props.path.rfind('/') + 1);  // empty for the root
        set_query_msg_success();
    } else {
        set_query_msg_failed();
    }
    ++stats.finds;
    return ret;
}

// Every call counts, and none sets a status text.
int index_iface::browse_by_path(const index_iface_browse_fields& fields, props_list& results) {
    int ret = 0;
    if (fields.path == nullptr || fields.path[0] == '\0') {
        IIF_LOG_ERROR("INDEX_IFACE: Error: path is NULL or empty.");
        ret = EINVAL;
    } else if (find_child_in_cache_by_path(fields.path) == 0) {
        ret = flush();
    }
    if (ret == 0) {
        ret = browse_by_path_zysearch(fields, results);
    }
    ++stats.browse_children;
    return ret;
}

void index_iface::delete_browse_memory(props_list& results) {
    while (!results.empty()) {
        delete results.front();
        results.pop_front();
    }
}
