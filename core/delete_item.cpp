// delete_item: always an entry of its own, beside earlier changes of the object.
#include <cerrno>
#include <memory>

#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"

int index_iface::delete_item(const index_iface_props& props) {
    if (refuse_change()) {
        return EIO;
    }
    if (!check_guids(props) || !check_vtime(props)) {
        return EINVAL;
    }
    if (props.dtime == -1) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: dtime [%lld] is not set.", props.dtime);
        return EINVAL;
    }
    std::unique_ptr<index_iface_props> new_props(copy_record(props));
    if (!new_props) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate index_iface_props.");
        return ENOMEM;
    }
    new_props->idx_ops = index_iface_props::DEL;
    const std::string& line = early_journal_line(*new_props);

    std::uint32_t delay = 0;
    {
        const write_guard lock(*cl_lock);
        const int ret = cache_and_journal(new_props.get(), line);
        if (ret != 0) {
            roll_back(new_props.get());
            return ret;
        }
        const index_iface_props& cached = *new_props.release();
        IIF_LOG(7,
                "INDEX_IFACE: idx_ops [%d], path [%s], version_guid [%s], object_guid [%s], parent_guid [%s], mtime "
                "[%ld], vtime [%lld], vtime_sec [%ld], dtime [%lld].",
                cached.idx_ops, cached.path.c_str(), cached.version_guid.c_str(), cached.object_guid.c_str(),
                cached.parent_guid.c_str(), cached.mtime, cached.vtime, cached.vtime_sec, cached.dtime);
        delete_from_rename_cache(props);  // what was renamed to here is gone
        notify_thread_if();
        delay = calc_throttle_delay();
    }
    ++stats.deletes;  // after the release, unlike the other changes
    sleep_off(delay);
    return 0;
}
