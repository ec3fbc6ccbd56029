// rename_item: the one change that touches two places. Both directories are marked as changed, the old path is
// remembered until the rename has been delivered, and a caller may have the change delivered before the call returns.
#include <cerrno>
#include <memory>

#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"

// Caches a rename that no pending change takes in. locks: cl_lock held for writing
int index_iface::cache_rename(index_iface_props* new_props) {
    IIF_LOG(7, "INDEX_IFACE: inserting object_guid [%s] into cur_cache [%p].", new_props->object_guid.c_str(),
            static_cast<void*>(cur_cache));
    const int ret = insert_to_cache(cur_cache, new_props->object_guid.c_str(), new_props);
    if (ret != 0) {
        return ret;
    }
    IIF_LOG(7, "INDEX_IFACE: inserting dest dir [%s] into cur_par_cache [%p].", new_props->parent_guid.c_str(),
            static_cast<void*>(cur_par_cache));
    return insert_to_cache(cur_par_cache, new_props->parent_guid.c_str(), nullptr);
}

// A rename inside one directory marks no source. locks: cl_lock held for writing
int index_iface::finish_rename(const index_iface_props& props, const std::string& old_parent_guid,
                               const std::string& old_path, index_iface_props* record) {
    if (old_parent_guid != record->parent_guid) {
        IIF_LOG(7, "INDEX_IFACE: inserting source dir [%s] into cur_par_cache [%p].", old_parent_guid.c_str(),
                static_cast<void*>(cur_par_cache));
        const int ret = insert_foreign_key(cur_par_cache, old_parent_guid);
        if (ret != 0) {
            return ret;
        }
    }
    // The journal says rename even for an add that took the rename in.
    const CXoError error = write_entry(journal_file, index_iface_props::REN, record, true);
    if (error.IsError()) {
        return FXErrorUtil::GetErrNo(error);
    }
    return add_to_rename_cache(props, old_path);
}

// The removals unlink nothing, as in every roll-back; a merge, a written line and a remembered rename stay.
// locks: cl_lock held for writing
void index_iface::roll_back_rename(index_iface_props* record, bool is_new, const std::string& old_parent_guid) {
    if (is_new) {
        retire_items(record);
    }
    const bool other_parent = old_parent_guid != record->parent_guid;
    if (other_parent) {
        rm_item_from_cache(cur_par_cache, record->parent_guid.c_str(), nullptr);
    }
    if (is_new) {
        if (other_parent) {
            rm_item_from_cache(cur_par_cache, old_parent_guid.c_str(), nullptr);
        }
        rm_item_from_cache(cur_cache, record->object_guid.c_str(), record);
    }
}

// On success `delay` is the caller's sleep. locks: cl_lock held for writing
int index_iface::rename_under_lock(const index_iface_props& props, const std::string& old_parent_guid,
                                   const std::string& old_path, bool flush_now, std::uint32_t& delay) {
    std::unique_ptr<index_iface_props> new_props;
    int ret = 0;
    index_iface_props* record = merge_or_copy(props, new_props, ret);
    if (record == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not allocate memory for index_iface_props.");
        return ENOMEM;
    }
    if (new_props) {
        record->idx_ops = index_iface_props::REN;
        ret = cache_rename(record);
    }
    try {
        if (ret == 0) {
            ret = finish_rename(props, old_parent_guid, old_path, record);
        }
    } catch (...) {  // the memory of renames allocates with exceptions
        roll_back_rename(record, new_props != nullptr, old_parent_guid);
        throw;
    }
    if (ret != 0) {
        roll_back_rename(record, new_props != nullptr, old_parent_guid);
        return ret;
    }
    static_cast<void>(new_props.release());  // the cache owns it
    // The operation in this line is the constant of an update, as readers of the log know it.
    IIF_LOG(7,
            "INDEX_IFACE: idx_ops [%d], path [%s], version_guid [%s], object_guid [%s], parent_guid [%s], mtime [%ld], "
            "vtime [%lld], vtime_sec [%ld].",
            index_iface_props::UPD, record->path.c_str(), record->version_guid.c_str(), record->object_guid.c_str(),
            record->parent_guid.c_str(), record->mtime, record->vtime, record->vtime_sec);
    if (!flush_now) {
        notify_thread_if();
    }
    delay = calc_throttle_delay();
    ++stats.renames;
    return 0;
}

int index_iface::rename_item(const index_iface_props& props, const std::string& old_parent_guid,
                             const std::string& old_path, bool flush_now) {
    if (refuse_change()) {
        return EIO;
    }
    if (!check_guids(props) || !check_vtime(props) || !check_no_dtime(props)) {
        return EINVAL;
    }
    std::uint32_t delay = 0;
    {
        const write_guard lock(*cl_lock);
        const int ret = rename_under_lock(props, old_parent_guid, old_path, flush_now, delay);
        if (ret != 0) {
            return ret;
        }
    }
    if (flush_now) {
        if (const int flushed = flush(); flushed != 0) {  // the change stays queued
            IIF_LOG_ERROR("INDEX_IFACE: Warning: flush failed with the error [%d].", flushed);
        }
    }
    sleep_off(delay);  // as it was before the flush
    return 0;
}
