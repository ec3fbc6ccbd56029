// The flush thread: a loop around one cycle. A cycle waits for the event or for the time, rotates under cl_lock and
// delivers without it. After a failed delivery every wake-up tries the same batch again.
#include <cstdint>
#include <exception>

#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"
#include "core/polled.h"
#include "flush/event.h"

namespace {
constexpr unsigned long poll_ms = 1000;
}

/// The thread's entry. Clearing `thread_running` is its last touch of the object.
void* flush_entry(void* object) {
    auto& iface = *static_cast<index_iface*>(object);
    write_polled(iface.thread_running, true);
    while (!read_polled(iface.thread_stop)) {
        try {
            iface.run_flush_cycle();
        } catch (const std::exception& failure) {
            // The batch stands where it was; the next wake-up tries again.
            IIF_LOG_ERROR("INDEX_IFACE: Error: the flush thread's cycle ended with [%s].", failure.what());
        }
    }
    write_polled(iface.thread_running, false);
    return nullptr;
}

// thread: flush only
void index_iface::run_flush_cycle() {
    if (!read_polled(is_inited)) {
        XOSLEEP_InTeRnAl(poll_ms, __FILE__, __LINE__);
        return;
    }
    if (flush_after_seconds > 0) {
        IIF_LOG(6, "INDEX_IFACE: waiting for flush event, flush_after_seconds [%ld].", flush_after_seconds);
        flush_event->wait(static_cast<unsigned long>(flush_after_seconds) * 1000UL);
    } else {
        IIF_LOG(6, "INDEX_IFACE: waiting for flush event, infinite wait");
        flush_event->wait();
    }
    IIF_LOG(6, "INDEX_IFACE: flush event received.");
    int ret = 0;
    {
        const write_guard lock(*cl_lock);
        if (journal_file == nullptr) {
            return;  // the object is being destroyed: what was not delivered waits in the journals
        }
        ret = switch_cache();
    }
    if (ret != 0 && read_polled(last_flush_error) == 0) {
        return;
    }
    write_polled(last_flush_error, static_cast<std::uint32_t>(flush_internal()));
}

int index_iface::create_thread() {
    if (!flush_thread->createDetachedThread(&flush_entry, this)) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: creation of flush thread failed. [%s]",
                      flush_thread->getLastError().c_str());
        return 1;
    }
    while (!read_polled(thread_running)) {
        XOSLEEP_InTeRnAl(poll_ms, __FILE__, __LINE__);
    }
    return 0;
}

// Without limit: a delivery under way holds it up.
void index_iface::term_thread() {
    if (!read_polled(thread_running)) {
        return;
    }
    write_polled(thread_stop, true);
    if (flush_event != nullptr) {
        flush_event->set();
    }
    while (read_polled(thread_running)) {
        XOSLEEP_InTeRnAl(poll_ms, __FILE__, __LINE__);
    }
    write_polled(thread_stop, false);
}

// locks: cl_lock held for writing
void index_iface::notify_thread_if() {
    if (flush_after_count == 0 || cur_cache->num_items < static_cast<std::int32_t>(flush_after_count)) {
        return;
    }
    IIF_LOG(6, "INDEX_IFACE: notifying flush thread, num_items [%d], flush_after_count [%u].", cur_cache->num_items,
            flush_after_count);
    flush_event->set();
}
