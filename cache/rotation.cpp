// Rotation: the changes gathered so far become the batch to deliver, in one step under the exclusive lock.
//
// R1  cur_cache holds what cur_journal_file holds, old_cache what old_journal_file holds.
// R2  An empty old_journal_file means that no batch waits and that the old caches are empty.
// R3  A rotation happens only then, so what becomes current is always empty.
//
//   at_startup   names set    next switch_cache
//   true         both         0 and no swap: the batch of a restart stands in place already
//   any          current      EAGAIN when cur_cache is empty, else rotates
//   false        both         EBUSY until the delivery clears old_journal_file
#include <cerrno>
#include <new>
#include <utility>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "core/polled.h"

namespace {
constexpr int most_flush_tries = 5;
}

// locks: cl_lock held for writing
int index_iface::switch_cache() {
    int ret = 0;
    if (!old_journal_file.empty() && !cur_journal_file.empty()) {
        if (at_startup) {
            at_startup = false;
            if (old_cache->num_items == 0) {
                IIF_LOG(6, "INDEX_IFACE: Info: no items in old_cache. This is a startup condition.");
            }
            return 0;
        }
        IIF_LOG(6, "INDEX_IFACE: old_journal_file [%s] and cur_journal_file [%s] are both set. Returning EBUSY.",
                old_journal_file.c_str(), cur_journal_file.c_str());
        ret = EBUSY;
    } else {
        at_startup = false;
        ret = rotate();
        if (ret == 0) {
            return 0;
        }
    }
    // Only where nothing was rotated: a batch that can leave is not refused.
    if (read_polled(flush_tries) > most_flush_tries) {
        write_polled(reject_changes, true);
    }
    return ret;
}

int index_iface::rotate() {
    if (cur_cache->num_items == 0) {
        IIF_LOG(6, "INDEX_IFACE: Info: no items in cur_cache. Returning EAGAIN.");
        return EAGAIN;
    }
    // The old name is set last: a batch that was never rotated must not seem to wait, or nothing would rotate again.
    std::string former;
    int ret = 0;
    try {
        former = cur_journal_file;
        ret = create_next_journal_file();
    } catch (const std::bad_alloc&) {
        ret = ENOMEM;
    }
    if (ret != 0) {
        if (!former.empty()) {
            cur_journal_file.swap(former);
        }
        write_polled(flush_tries, read_polled(flush_tries) + 1);
        return ret;
    }
    old_journal_file.swap(former);
    std::swap(cur_cache, old_cache);
    IIF_LOG(6, "INDEX_IFACE: switched caches, cur_cache [%p], old_cache [%p].", static_cast<void*>(cur_cache),
            static_cast<void*>(old_cache));
    std::swap(cur_par_cache, old_par_cache);
    IIF_LOG(6, "INDEX_IFACE: switched caches, cur_par_cache [%p], old_par_cache [%p].",
            static_cast<void*>(cur_par_cache), static_cast<void*>(old_par_cache));
    std::swap(cur_ren_cache, old_ren_cache);
    IIF_LOG(6, "INDEX_IFACE: switched caches, cur_ren_cache [%p], old_ ren_cache [%p].",
            static_cast<void*>(cur_ren_cache), static_cast<void*>(old_ren_cache));
    return 0;
}
