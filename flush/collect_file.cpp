// The collect file: one line for each record of the batch, in three groups, each in the order of insertion. It lives
// for one delivery and is replaced by the next.
//
//   group 1   plain updates                 is_extent is not 1 and idx_ops is UPD
//   group 2   other changes of objects      is_extent is not 1 and idx_ops is not UPD
//   group 3   extents, of all operations    is_extent is 1
//
// The batch is read without cl_lock: while old_journal_file is set, nothing rotates and only this delivery clears it.
#include "core/index_iface.h"
#include "core/log_line.h"
#include "journal/journal_files.h"

namespace {

bool is_extent_record(const index_iface_props& props) {
    return props.is_extent == 1;
}

}  // namespace

// A delivery that found no batch walks nothing: a rotation may fill the old cache meanwhile.
template <class Predicate>
CXoError index_iface::write_group(CXoFile& file, Predicate belongs) {
    const index_iface_item* item = delivery_journal.empty() ? nullptr : old_cache->first;
    for (; item != nullptr; item = item->list_next) {
        if (item->props == nullptr || !belongs(*item->props)) {
            continue;
        }
        CXoError error = write_entry(&file, item->props->idx_ops, item->props, false);
        if (error.IsError()) {
            return error;
        }
    }
    return CXoError::Success();
}

CXoError index_iface::write_file_updates(CXoFile& file) {
    CXoError error = write_group(file, [](const index_iface_props& props) {
        return !is_extent_record(props) && props.idx_ops == index_iface_props::UPD;
    });
    error.Push(FX_CODE_LOCATION);
    return error;
}

CXoError index_iface::write_file_non_updates(CXoFile& file) {
    CXoError error = write_group(file, [](const index_iface_props& props) {
        return !is_extent_record(props) && props.idx_ops != index_iface_props::UPD;
    });
    error.Push(FX_CODE_LOCATION);
    return error;
}

CXoError index_iface::write_extents(CXoFile& file) {
    CXoError error = write_group(file, is_extent_record);
    error.Push(FX_CODE_LOCATION);
    return error;
}

// Pushes what was being written onto the error and logs it.
#define IIF_PUSH_AND_LOG(error, text)                                                         \
    do {                                                                                      \
        (error).Push(FX_CODE_LOCATION, text, collect_file.c_str());                           \
        IIF_LOG_ERROR("%s: %s", (error).AsString(static_cast<EErrorOutputFormat>(2)).c_str(), \
                      (error).AsString().c_str());                                            \
    } while (false)

CXoError index_iface::write_groups(CXoFile& file) {
    CXoError error = write_file_updates(file);
    if (error.IsError()) {
        IIF_PUSH_AND_LOG(error, "Error: Failed to write UPD entries to collect file [%s]");
        return error;
    }
    error = write_file_non_updates(file);
    if (error.IsError()) {
        IIF_PUSH_AND_LOG(error, "Error: Failed to write ADD and other entries to collect file [%s]");
        return error;
    }
    error = write_extents(file);
    if (error.IsError()) {
        IIF_PUSH_AND_LOG(error, "Error: Failed to write extents to collect file [%s]");
    }
    return error;
}

#undef IIF_PUSH_AND_LOG

// locks: delivery_mutex held
CXoError index_iface::write_collect_file() {
    CXoFile file;
    CXoError error = file.Open(collect_file.c_str(), collect_file_flags, journal_file_mode);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: open file [%s], flag [%d], mode [%d] failed with the error [%s].",
                      collect_file.c_str(), collect_file_flags, journal_file_mode, error.AsString().c_str());
        error.Push(FX_CODE_LOCATION);
        return error;
    }
    error = write_groups(file);
    file.Close();
    if (error.IsError()) {
        CXoFile::Delete(collect_file.c_str(), true);
        error.Push(FX_CODE_LOCATION);
    }
    return error;
}
