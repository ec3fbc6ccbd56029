// update_item: merges into a change of the same version that still waits in the current cache, and is an entry of its
// own otherwise. The lock is held from before the lookup, because the found record is shared with readers.
#include <cerrno>
#include <memory>

#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"

// Caches a change that no pending one takes in. locks: cl_lock held for writing
int index_iface::cache_update(index_iface_props* new_props) {
    IIF_LOG(7, "INDEX_IFACE: inserting into cur_cache [%p].", static_cast<void*>(cur_cache));
    const int ret = insert_to_cache(cur_cache, new_props->object_guid.c_str(), new_props);
    if (ret != 0 || new_props->parent_guid.empty()) {
        return ret;
    }
    IIF_LOG(7, "INDEX_IFACE: inserting into cur_par_cache [%p].", static_cast<void*>(cur_par_cache));
    return insert_to_cache(cur_par_cache, new_props->parent_guid.c_str(), nullptr);
}

// On success `delay` is the caller's sleep. locks: cl_lock held for writing
int index_iface::update_under_lock(const index_iface_props& props, std::uint32_t& delay) {
    std::unique_ptr<index_iface_props> new_props;
    int ret = 0;
    index_iface_props* record = merge_or_copy(props, new_props, ret);
    if (record == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate index_iface_props.");
        return ENOMEM;
    }
    if (new_props) {
        record->idx_ops = index_iface_props::UPD;
        ret = cache_update(record);
    }
    if (ret == 0) {
        // The whole merged state goes to the journal as an update, whatever operation the record stands for.
        const CXoError error = write_entry(journal_file, index_iface_props::UPD, record, true);
        ret = error.IsError() ? FXErrorUtil::GetErrNo(error) : 0;
    }
    if (ret != 0) {
        if (new_props) {  // a merge is not undone
            roll_back(new_props.get());
        }
        return ret;
    }
    static_cast<void>(new_props.release());  // the cache owns it
    IIF_LOG(7,
            "INDEX_IFACE: idx_ops [%d], path [%s], version_guid [%s], object_guid [%s], parent_guid [%s], mtime [%ld], "
            "size[%lld], uid [%u], uid_valid [%d], gid [%u], gid_valid [%d], vtime [%lld], vtime_sec [%ld].",
            index_iface_props::UPD, record->path.c_str(), record->version_guid.c_str(), record->object_guid.c_str(),
            record->parent_guid.c_str(), record->mtime, record->size, record->uid, record->uid_valid, record->gid,
            record->gid_valid, record->vtime, record->vtime_sec);
    notify_thread_if();
    delay = calc_throttle_delay();
    ++stats.updates;
    return 0;
}

int index_iface::update_item(const index_iface_props& props) {
    if (refuse_change()) {
        return EIO;
    }
    if (props.object_guid.empty() || props.version_guid.empty()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: either object_guid [%s] or version_guid [%s] is an empty string.",
                      props.object_guid.c_str(), props.version_guid.c_str());
        return EINVAL;
    }
    if (!check_vtime(props)) {
        return EINVAL;
    }
    std::uint32_t delay = 0;
    {
        const write_guard lock(*cl_lock);
        const int ret = update_under_lock(props, delay);
        if (ret != 0) {
            return ret;
        }
    }
    sleep_off(delay);
    return 0;
}
