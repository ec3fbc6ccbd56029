// Steps that the change operations share: the refusal, the tests of the argument, the copy of the record, the way into
// the caches and the journal, the roll-back, and the sleep that a caller pays for a backlog.
#include <memory>

#include "core/allocation.h"
#include "core/index_iface.h"
#include "core/log_line.h"
#include "core/polled.h"
#include "core/time_units.h"

// Read without the lock: a change that slips past is journalled like any other.
bool index_iface::refuse_change() const {
    if (!read_polled(reject_changes)) {
        return false;
    }
    IIF_LOG_ERROR(
        "INDEX_IFACE: Error: not able to flush previous collect files even after [%d] tries. Therefore, rejecting new "
        "changes until the flush issue is resolved.",
        read_polled(flush_tries));
    return true;
}

// The caller's record leaves with `vtime_sec` filled in, whatever becomes of the change.
bool index_iface::check_vtime(const index_iface_props& props) const {
    if (props.vtime == -1) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: vtime [%lld] is not set.", props.vtime);
        return false;
    }
    if (props.vtime_sec == -1) {
        props.vtime_sec = static_cast<long>(props.vtime / ns_per_second);
    }
    return true;
}

index_iface_props* index_iface::copy_record(const index_iface_props& props) {
    return make_or_null<index_iface_props>(props);
}

// locks: cl_lock held for writing
int index_iface::cache_and_journal(index_iface_props* new_props) {
    IIF_LOG(7, "INDEX_IFACE: inserting into cur_cache [%p].", static_cast<void*>(cur_cache));
    int ret = insert_to_cache(cur_cache, new_props->object_guid.c_str(), new_props);
    if (ret != 0) {
        return ret;
    }
    IIF_LOG(7, "INDEX_IFACE: inserting into cur_par_cache [%p].", static_cast<void*>(cur_par_cache));
    ret = insert_to_cache(cur_par_cache, new_props->parent_guid.c_str(), nullptr);
    if (ret != 0) {
        return ret;
    }
    const CXoError error = write_entry(journal_file, new_props->idx_ops, new_props, true);
    return error.IsError() ? FXErrorUtil::GetErrNo(error) : 0;
}

// The two removals unlink nothing: they look for an item at the record's address. They stay, so that a failed change
// leaves caches, counts and order as they were after its last insertion. Its items are retired first, because the
// record goes away. locks: cl_lock held for writing
void index_iface::roll_back(index_iface_props* new_props) {
    retire_items(new_props);
    rm_item_from_cache(cur_par_cache, new_props->parent_guid.c_str(), nullptr);
    rm_item_from_cache(cur_cache, new_props->object_guid.c_str(), new_props);
}

// locks: none held, so that a slowed-down caller holds up nobody else
void index_iface::sleep_off(std::uint32_t delay) {
    if (delay != 0) {
        IIF_LOG(5, "INDEX_IFACE: Info: delay value [%d].", static_cast<int>(delay));
        XOSLEEP_InTeRnAl(delay, __FILE__, __LINE__);
    }
    stats.delay_ms += delay;
}
