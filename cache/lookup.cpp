// Lookups across both caches: what pending changes say about an object, now or at a past moment, as one copied record.
//
//   in cur_cache   in old_cache   result   output
//   ADD, DEL       not looked at  0        the record of cur_cache
//   UPD, REN       any            0        the record of old_cache with the newer one laid over it, its operation kept
//   UPD, REN       nothing        0        the record of cur_cache, as UPD
//   nothing        any            0        the record of old_cache, REN included
//   nothing        nothing        ENOENT   untouched
#include <cerrno>
#include <cstring>

#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"
#include "core/time_units.h"

namespace {

constexpr int corrupt_record = 1;

const char* text_or_null(const char* text) {
    return text == nullptr ? "null" : text;
}

/// The arguments of a record line, in the order of its format. The line of old_cache has a tab before "after_time".
#define IIF_LOG_FOUND_BY_GUID(format)                                                                            \
    IIF_LOG(7, format, props.object_guid.c_str(), props.idx_ops, props.path.c_str(), props.version_guid.c_str(), \
            props.parent_guid.c_str(), props.mtime, upper_bound, fields.after_time, props.mode, props.size,      \
            props.vtime, props.vtime_sec, props.dtime)

#define IIF_LOG_FOUND_BY_PATH(format)                                                                            \
    IIF_LOG(7, format, props.path.c_str(), props.idx_ops, props.object_guid.c_str(), props.version_guid.c_str(), \
            props.parent_guid.c_str(), props.mtime, upper_bound, fields.after_time, props.mode, props.size,      \
            props.vtime, props.vtime_sec, props.dtime)

struct words_by_guid {
    const index_iface_browse_fields& fields;
    index_iface_time_t upper_bound;

    void in_cur_cache(const index_iface_props& props) const {
        IIF_LOG_FOUND_BY_GUID(
            "INDEX_IFACE: located record in cur_cache, object_guid [%s], idx_ops [%d], path [%s], version_guid [%s], "
            "parent_guid [%s], mtime [%ld], "
            "real_before_time [%lld], after_time [%ld], mode [%o], size [%lld], vtime [%lld], vtime_sec [%ld], dtime "
            "[%lld].");
    }
    void in_old_cache(const index_iface_props& props) const {
        IIF_LOG_FOUND_BY_GUID(
            "INDEX_IFACE: located record in old_cache, object_guid [%s], idx_ops [%d], path [%s], version_guid [%s], "
            "parent_guid [%s], mtime [%ld], "
            "real_before_time [%lld],\tafter_time [%ld], mode [%o], size [%lld], vtime [%lld], vtime_sec [%ld], dtime "
            "[%lld].");
    }
    void final_record(const index_iface_props& props) const {
        IIF_LOG_FOUND_BY_GUID(
            "INDEX_IFACE: final record, object_guid [%s], idx_ops [%d], path [%s], version_guid [%s], parent_guid "
            "[%s], mtime [%ld], "
            "real_before_time [%lld], after_time [%ld], mode [%o], size [%lld], vtime [%lld], vtime_sec [%ld], dtime "
            "[%lld].");
    }
};

struct words_by_path {
    const index_iface_browse_fields& fields;
    index_iface_time_t upper_bound;

    void in_cur_cache(const index_iface_props& props) const {
        IIF_LOG_FOUND_BY_PATH(
            "INDEX_IFACE: located record in cur_cache, path [%s], idx_ops [%d], object_guid [%s], version_guid [%s], "
            "parent_guid [%s], mtime [%ld], "
            "real_before_time [%lld], after_time [%ld], mode [%o], size [%lld], vtime [%lld], vtime_sec [%ld], dtime "
            "[%lld].");
    }
    void in_old_cache(const index_iface_props& props) const {
        IIF_LOG_FOUND_BY_PATH(
            "INDEX_IFACE: located record in old_cache, path [%s], idx_ops [%d], object_guid [%s], version_guid [%s], "
            "parent_guid [%s], mtime [%ld], "
            "real_before_time [%lld],\tafter_time [%ld], mode [%o], size [%lld], vtime [%lld], vtime_sec [%ld], dtime "
            "[%lld].");
    }
    void final_record(const index_iface_props& props) const {
        IIF_LOG_FOUND_BY_PATH(
            "INDEX_IFACE: final record, path [%s], idx_ops [%d], object_guid [%s], version_guid [%s], parent_guid "
            "[%s], mtime [%ld], "
            "real_before_time [%lld], after_time [%ld], mode [%o], size [%lld], vtime [%lld], vtime_sec [%ld], dtime "
            "[%lld].");
    }
};

#undef IIF_LOG_FOUND_BY_GUID
#undef IIF_LOG_FOUND_BY_PATH

}  // namespace

// Both caches are read under one hold of the lock, so that no rotation falls between them.
template <class Words, class Finder>
int index_iface::find_props_in_cache(const Words& words, index_iface_props& props, Finder find) {
    const read_guard lock(*cl_lock);
    index_iface_props overlay;
    bool complete = false;
    bool overlay_set = false;
    const index_iface_item* item = find(cur_cache);
    if (item != nullptr) {
        switch (item->props->idx_ops) {
            case index_iface_props::ADD:
            case index_iface_props::DEL:
                props = *item->props;
                complete = true;
                break;
            case index_iface_props::UPD:
                overlay = *item->props;
                overlay_set = true;
                break;
            case index_iface_props::REN:
                IIF_LOG(2, "INDEX_IFACE: Info: hit a RENAME record in cur_cache!");
                overlay = *item->props;
                overlay.idx_ops = index_iface_props::UPD;
                overlay_set = true;
                break;
            default:
                IIF_LOG_ERROR("INDEX_IFACE: Error: invalid idx_ops [%d].", item->props->idx_ops);
                return corrupt_record;
        }
        words.in_cur_cache(*item->props);
    }
    if (!complete) {
        item = find(old_cache);
        if (item != nullptr) {
            props = *item->props;
            words.in_old_cache(*item->props);
        }
    }
    if (overlay_set) {
        if (item != nullptr) {
            copy_valid_props(overlay, props);
        } else {
            props = overlay;
        }
    } else if (item == nullptr) {
        return ENOENT;
    }
    words.final_record(props);
    return 0;
}

int index_iface::find_props_in_cache_by_guid(const index_iface_browse_fields& fields, index_iface_props& props) {
    const index_iface_time_t upper_bound = upper_bound_of(fields);
    IIF_LOG(7,
            "INDEX_IFACE: searching for object_guid [%s], version_guid [%s], before_time [%ld], after_time [%ld], "
            "real_before_time [%lld] in cur_cache and old_cur_cache.",
            fields.object_guid, text_or_null(fields.version_guid), fields.before_time, fields.after_time,
            fields.real_before_time);
    const int key_len = static_cast<int>(strlen(fields.object_guid));
    return find_props_in_cache(words_by_guid{fields, upper_bound}, props, [&](const index_iface_cache* cache) {
        return find_item_with_key(cache, fields, key_len, upper_bound);
    });
}

int index_iface::find_props_in_cache_by_path(const index_iface_browse_fields& fields, index_iface_props& props) {
    const index_iface_time_t upper_bound = upper_bound_of(fields);
    IIF_LOG(7,
            "INDEX_IFACE: searching for path [%s], version_guid [%s], before_time [%ld], after_time [%ld], "
            "real_before_time [%lld] in cur_cache and old_cur_cache.",
            fields.path, text_or_null(fields.version_guid), fields.before_time, fields.after_time,
            fields.real_before_time);
    return find_props_in_cache(words_by_path{fields, upper_bound}, props, [&](const index_iface_cache* cache) {
        return find_item_with_path(cache, fields, upper_bound);
    });
}

// Time and version have no say. 0 is the answer yes.
int index_iface::find_in_par_cache_by_guid(const index_iface_browse_fields& fields) {
    const int key_len = static_cast<int>(strlen(fields.object_guid));
    const read_guard lock(*cl_lock);
    const bool found = find_item_with_key(cur_par_cache, fields.object_guid, key_len) != nullptr ||
                       find_item_with_key(old_par_cache, fields.object_guid, key_len) != nullptr;
    return found ? 0 : 1;
}
