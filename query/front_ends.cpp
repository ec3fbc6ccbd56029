// The public queries. A find merges two truths: the caches hold what has not reached the index, the server the rest. A
// browse cannot merge, so it pushes the directory's pending changes out first and then asks the server alone.
//
//   lookup   local idx_ops   server asked   answer of a find
//   0        DEL             no             ENOENT: the object is gone, whatever the server says
//   0        ADD             no             the local record: the server cannot know it yet
//   0        UPD             yes            the server's record with the local one laid over it
//   0        REN             yes            the server's record alone
//   other    none            yes            the server's record alone
//
// What the operations count and report differs on purpose:
//
//   operation                     counter           on a bad key           on a failed flush      status text
//   find_by_guid, find_by_path    finds             raised, failed text    no flush               always
//   browse_by_guid                browse_children   neither                neither                after the search
//   browse_by_path                browse_children   raised                 raised                 never
//   browse_file_extents           browse_extents    raised                 raised                 after the search
//   browse_extents_not_backedup   none              cannot happen          no flush               always
#include <cerrno>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "observability/index_iface_perf.h"

namespace {

bool has_guid(const index_iface_browse_fields& fields) {
    if (fields.object_guid != nullptr && fields.object_guid[0] != '\0') {
        return true;
    }
    IIF_LOG_ERROR("INDEX_IFACE: Error: object_guid is NULL or empty.");
    return false;
}

bool has_path(const index_iface_browse_fields& fields) {
    if (fields.path != nullptr && fields.path[0] != '\0') {
        return true;
    }
    IIF_LOG_ERROR("INDEX_IFACE: Error: path is NULL or empty.");
    return false;
}

/// Only the exchange with the server is timed, so that neither a cached answer nor a flush counts.
template <class Search>
int timed(const char* text, int id, Search search) {
    start_perf_counter(text, id);
    const int ret = search();
    stop_perf_counter(text, id);
    return ret;
}

}  // namespace

// Writes to `props` on 0 alone.
template <class Lookup, class Search>
int index_iface::find_in_all(const index_iface_browse_fields& fields, index_iface_props& props, Lookup lookup,
                             Search search) {
    index_iface_props local;
    const int found = (this->*lookup)(fields, local);
    if (found == 0 && local.idx_ops == index_iface_props::DEL) {
        return ENOENT;
    }
    if (local.idx_ops == index_iface_props::ADD) {  // a lookup that failed leaves no operation
        props = local;
        return 0;
    }
    index_iface_props answer;
    const int ret = search(answer);
    if (ret != 0) {
        return ret;
    }
    if (local.idx_ops == index_iface_props::UPD) {
        copy_valid_props(local, answer);
    }
    props = answer;
    return 0;
}

int index_iface::answer_find(int ret) {
    if (ret == 0) {
        set_query_msg_success();
    } else {
        set_query_msg_failed();
    }
    ++stats.finds;
    return ret;
}

int index_iface::find_by_guid(const index_iface_browse_fields& fields, index_iface_props& props) {
    int ret = EINVAL;
    if (has_guid(fields)) {
        ret = find_in_all(fields, props, &index_iface::find_props_in_cache_by_guid, [&](index_iface_props& answer) {
            return timed("index_iface::find_by_guid()", perf_find_by_guid,
                         [&] { return find_by_guid_zysearch(fields, answer); });
        });
    }
    if (ret == 0) {
        const std::size_t slash = props.path.rfind('/');
        if (slash != std::string::npos) {
            props.name = props.path.substr(slash + 1);
        }
    }
    return answer_find(ret);
}

int index_iface::find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) {
    int ret = EINVAL;
    if (has_path(fields)) {
        // A path that was renamed away has no object any more; the index does not know it yet and must not be asked.
        ret =
            was_path_renamed(fields) == 0
                ? ENOENT
                : find_in_all(fields, props, &index_iface::find_props_in_cache_by_path, [&](index_iface_props& answer) {
                      return timed("index_iface::find_by_path()", perf_find_by_path,
                                   [&] { return find_by_path_zysearch(fields, answer); });
                  });
    }
    if (ret == 0) {
        props.name = props.path.substr(props.path.rfind('/') + 1);  // empty for the root
    }
    return answer_find(ret);
}

int index_iface::answer_browse(int ret) {
    if (ret != 0) {
        set_query_msg_failed();
    } else {
        set_query_msg_success();
    }
    return ret;
}

int index_iface::browse_by_guid(const index_iface_browse_fields& fields, props_list& results) {
    if (!has_guid(fields)) {
        return EINVAL;
    }
    if (find_in_par_cache_by_guid(fields) == 0) {
        if (const int ret = flush(); ret != 0) {
            return ret;
        }
    }
    const int ret = timed("index_iface::browse_by_guid()", perf_browse_by_guid,
                          [&] { return browse_by_guid_zysearch(fields, results); });
    ++stats.browse_children;
    return answer_browse(ret);
}

int index_iface::browse_by_path(const index_iface_browse_fields& fields, props_list& results) {
    int ret = 0;
    if (!has_path(fields)) {
        ret = EINVAL;
    } else if (find_child_in_cache_by_path(fields.path) == 0) {
        ret = flush();
    }
    if (ret == 0) {
        ret = timed("index_iface::browse_by_path()", perf_browse_by_path,
                    [&] { return browse_by_path_zysearch(fields, results); });
    }
    ++stats.browse_children;
    return ret;
}

int index_iface::browse_file_extents(const index_iface_browse_fields& fields, props_list& results) {
    int ret = 0;
    if (!has_guid(fields)) {
        ret = EINVAL;
    } else if (find_in_par_cache_by_guid(fields) == 0) {
        ret = flush();
    }
    if (ret != 0) {
        ++stats.browse_extents;
        return ret;
    }
    ret = answer_browse(timed("index_iface::browse_file_extents()", perf_browse_file_extents,
                              [&] { return browse_file_extents_zysearch(fields, results); }));
    ++stats.browse_extents;
    return ret;
}

int index_iface::browse_extents_not_backedup(props_list& results) {
    return answer_browse(timed("index_iface::browse_extents_not_backedup()", perf_browse_extents_not_backedup,
                               [&] { return browse_extents_not_backedup_zysearch(results); }));
}

void index_iface::delete_browse_memory(props_list& results) {
    while (!results.empty()) {
        delete results.front();
        results.pop_front();
    }
}
