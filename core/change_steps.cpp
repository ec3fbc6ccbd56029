// Steps that the change operations share: the refusal, the tests of the argument, the copy of the record, the way into
// the caches and the journal, the roll-back, and the sleep that a caller pays for a backlog.
#include <memory>

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
bool index_iface::check_guids(const index_iface_props& props) {
    if (!props.object_guid.empty() && !props.parent_guid.empty()) {
        return true;
    }
    IIF_LOG_ERROR("INDEX_IFACE: Error: either object_guid [%s] or parent_guid [%s] is an empty string.",
                  props.object_guid.c_str(), props.parent_guid.c_str());
    return false;
}

bool index_iface::check_no_dtime(const index_iface_props& props) {
    if (props.dtime == -1) {
        return true;
    }
    IIF_LOG_ERROR("INDEX_IFACE: Error: dtime [%lld] cannot be specified except when deleting.", props.dtime);
    return false;
}

bool index_iface::check_vtime(const index_iface_props& props) {
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
    return spares.copy(props);
}

// locks: cl_lock held for writing
// The pending change of the same version, which took `props` in, or failed to with `ret`; else a copy of `props`, which
// `fresh` owns; null without memory for that. locks: cl_lock held for writing
index_iface_props* index_iface::merge_or_copy(const index_iface_props& props, std::unique_ptr<index_iface_props>& fresh,
                                              int& ret) {
    const index_iface_item* found =
        find_item_with_key_and_version(cur_cache, props.object_guid.c_str(), -1, props.version_guid.c_str());
    if (found == nullptr) {
        fresh.reset(copy_record(props));
        return fresh.get();
    }
    ret = merge_into_cached(props, *found->props);
    return found->props;
}

// `line` may have been built before the lock was taken. locks: cl_lock held for writing
int index_iface::cache_and_journal(index_iface_props* new_props, const std::string& line) {
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
    const CXoError error = journal_early_line(line, new_props);
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
        stats.delay_ms += delay;
    }
}
