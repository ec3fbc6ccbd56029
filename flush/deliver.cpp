// The delivery of one batch: the collect file goes to the collection service as a transaction, and only when the
// service says that it is complete is the batch forgotten. Until then everything stays where it is and is sent again.
//
// D1  Delivery is at least once: a crash after the outcome and before the old journal is gone sends the batch again.
// D2  Copies and the collect file's removal come before the lock; then one exclusive section empties the old caches,
//     removes the old journal and ends a refusal; the counter and the status text come after it.
// D3  Two deliveries never overlap. One that starts without a batch sends an empty file, walks nothing and clears
// nothing.
//
//   cut while ...                        on disk                           the next start
//   writing a journal line               the line is cut                   refuses until the file is corrected
//   gathering                            the current journal               replays it
//   rotated, file not submitted          both journals, maybe a file       sends the older batch first
//   submitted, no outcome known          both journals and the file        sends it again, closing what was left open
//   delivered, old journal still there   both journals                     sends it again
#include <unistd.h>

#include <cerrno>
#include <new>
#include <vector>

#include "cache/mem_cache.h"
#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"
#include "core/polled.h"
#include "observability/index_iface_perf.h"

namespace {

constexpr char no_flush_hook[] = "/tmp/INDEX_IFACE_NO_FLUSH_HOOK";
constexpr auto job_type = static_cast<EScanJobType>(28);
constexpr unsigned int earlier_transaction_open = 3021;
constexpr int wait_poll = 500;

}  // namespace

// locks: takes delivery_mutex, and cl_lock in short sections
int index_iface::flush_internal() {
    const std::lock_guard<std::mutex> one_at_a_time(delivery_mutex);
    if (access(no_flush_hook, F_OK) == 0) {
        IIF_LOG_ERROR("INDEX_IFACE: Info: not flushing as hook file [%s] detected.", no_flush_hook);
        return 0;
    }
    start_perf_counter("index_iface::flush_internal()", perf_flush);
    bool collect_file_stands = false;
    CXoError error;
    // Without memory the delivery fails like any other: a batch for which no failure stands would never be retried.
    try {
        {
            const read_guard lock(*cl_lock);
            delivery_journal = old_journal_file;
        }
        error = deliver(collect_file_stands);
    } catch (const std::bad_alloc&) {
        error = FXErrorUtil::ErrorErrNo(ENOMEM);
    }
    if (error.IsError()) {
        count_failed_flush();
    } else {
        const std::lock_guard<std::mutex> lock(msg_lock);
        flush_status_msg = "operational";
    }
    if (collect_file_stands) {
        CXoFile::Delete(collect_file.c_str(), true);
    }
    stop_perf_counter("index_iface::flush_internal()", perf_flush);
    return error.IsError() ? FXErrorUtil::GetErrNo(error) : 0;
}

CXoError index_iface::deliver(bool& collect_file_stands) {
    CXoError error = write_collect_file();
    if (error.IsError()) {
        return error;
    }
    collect_file_stands = true;
    IIF_LOG(2, "INDEX_IFACE: sending the collect file [%s].", delivery_journal.c_str());
    App::ProcessingStatus status = App::ProcessingStatus_UNKNOWN;
    error = collect_handler->SubmitNewTransaction(status, job_type, std::vector<std::string>{collect_file}, false);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: SubmitNewTransaction failed, status=[%d], error=%s", status,
                      error.AsString().c_str());
        if (FXErrorUtil::IsZYResult(error, earlier_transaction_open)) {
            cleanup_prev_transaction();
        }
        return error;
    }
    IIF_LOG(6, "INDEX_IFACE: after SubmitNewTransaction, status is [%d].", status);
    error = collect_handler->WaitForTransaction(status, true, boost::shared_ptr<CHandleNewMarlFiles>(),
                                                boost::shared_ptr<CAbortOperationCheck>(), wait_poll, job_type);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: WaitForTransaction failed with the error [%s].", error.AsString().c_str());
        return error;
    }
    if (status != App::ProcessingStatus_COMPLETED) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: WaitForTransaction returned a failure status [%d].", status);
        return FXErrorUtil::ErrorErrNo(EAGAIN, "status != App::ProcessingStatus_COMPLETED");
    }
    IIF_LOG(6, "INDEX_IFACE: after WaitForTransaction, status is [%d].", status);
    IIF_LOG(2, "INDEX_IFACE: successfully sent the collect file [%s].", delivery_journal.c_str());
    save_collect_file();
    CXoFile::Delete(collect_file.c_str(), true);
    collect_file_stands = false;
    forget_delivered_batch();
    ++stats.flush_successes;
    return CXoError::Success();
}

void index_iface::forget_delivered_batch() {
    const write_guard lock(*cl_lock);
    if (!delivery_journal.empty()) {
        delete_cached_items(old_cache);
        delete_cached_items(old_par_cache);
        generic_cache_remove_all(old_ren_cache);
        CXoFile::Delete(old_journal_file.c_str(), true);
        old_journal_file.clear();
    }
    write_polled(reject_changes, false);
    write_polled(flush_tries, 0);
}

void index_iface::count_failed_flush() {
    std::int32_t tries = 0;
    {
        const write_guard lock(*cl_lock);
        tries = read_polled(flush_tries) + 1;
        write_polled(flush_tries, tries);
    }
    ++stats.flush_fails;
    const std::lock_guard<std::mutex> lock(msg_lock);
    flush_status_msg = "failed " + std::to_string(tries) + " times";
}

// So that a transaction left open does not stop the next attempt; this attempt counts as failed all the same.
void index_iface::cleanup_prev_transaction() {
    std::string transaction_id;
    App::ProcessingStatus status = App::ProcessingStatus_UNKNOWN;
    CXoError error =
        collect_handler->QueryLastTransaction(transaction_id, status, boost::shared_ptr<CAbortOperationCheck>());
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not get the last transaction id, err [%s].", error.AsString().c_str());
        return;
    }
    IIF_LOG(2, "INDEX_IFACE: closing trans_id [%s], status [%d].", transaction_id.c_str(), status);
    error = collect_handler->CloseTransaction(transaction_id);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not close the transaction [%s], err [%s].", transaction_id.c_str(),
                      error.AsString().c_str());
    }
}
