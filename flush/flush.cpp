// The synchronous flush: it returns when what the current journal held at its start has been delivered, which it knows
// by the journal's name being gone from both roles.
#include <cerrno>

#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"
#include "core/polled.h"

namespace {

constexpr unsigned long busy_pause_ms = 1000;

}  // namespace

void index_iface::log_flush_start() {
    std::string current;
    std::string old;
    {
        const read_guard lock(*cl_lock);
        current = cur_journal_file;
        old = old_journal_file;
    }
    IIF_LOG(5, "INDEX_IFACE: flushing - cur_journal_file [%s], old_journal_file [%s].", current.c_str(), old.c_str());
}

int index_iface::flush() {
    if (log_level_is_on(5)) {
        log_flush_start();
    }
    if (refuse_change()) {  // looked at once: a refusal that comes later does not end the wait
        return EIO;
    }
    write_guard lock(*cl_lock);
    const std::string target = cur_journal_file;
    while (target == cur_journal_file || target == old_journal_file) {
        if (read_polled(cleaning_up)) {
            return EINTR;
        }
        IIF_LOG(7, "INDEX_IFACE: journal_file [%s], cur_journal_file [%s], old_journal_file [%s].", target.c_str(),
                cur_journal_file.c_str(), old_journal_file.c_str());
        const int ret = switch_cache();
        if (ret == EAGAIN) {
            return 0;
        }
        if (ret != 0 && ret != EBUSY) {
            IIF_LOG_ERROR("INDEX_IFACE: Unknown error [%d] returned by switch_cache.", ret);
            return ret;
        }
        // What was read under the lock is read anew in the next pass.
        lock.release();
        if (ret == EBUSY) {
            XOSLEEP_InTeRnAl(busy_pause_ms, __FILE__, __LINE__);
        } else if (const int delivered = flush_internal(); delivered != 0) {
            // A success leaves what stands there: only the thread clears the member.
            write_polled(last_flush_error, static_cast<std::uint32_t>(delivered));
            return delivered;
        }
        lock.retake();
    }
    return 0;
}
