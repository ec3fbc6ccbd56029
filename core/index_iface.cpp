// Construction and end of the object: what it owns, and the order in which it lets go of it.
//
//   constructed --init() 0--> ready --6 failed deliveries--> refusing --a delivery--> ready
//        ^---- init() fails ----'         cleanup() from any of them; then only the destructor is meaningful
#include "core/index_iface.h"

#include <new>

#include "core/lock_guards.h"
#include "core/log_line.h"
#include "core/polled.h"
#include "observability/index_iface_perf.h"

index_iface::index_iface(args& arguments)
    : job_id(0),
      subclient_id(arguments.subclient_id),
      cloud_id(0),
      is_solr_cloud(false),
      reject_changes(false),
      flush_after_count(arguments.flush_after_count),
      last_flush_error(0),
      flush_tries(0),
      flush_after_seconds(arguments.flush_after_seconds),
      flush_thread(nullptr),
      thread_running(false),
      thread_stop(false),
      cleaning_up(false),
      root_dir(arguments.root_dir),
      sync_folder("/"),
      root_dir_props(nullptr),
      share_name(arguments.share_name),
      collect_dir(root_dir + "/" + share_name),
      journal_file_num(0),
      cur_cache(nullptr),
      old_cache(nullptr),
      cur_par_cache(nullptr),
      old_par_cache(nullptr),
      cur_ren_cache(nullptr),
      old_ren_cache(nullptr),
      collect_save_dir(root_dir + ".bkp"),
      flush_event(nullptr),
      cl_lock(nullptr),
      collect_handler(nullptr),
      journal_file(nullptr),
      curl_cache(nullptr),
      num_async_browses(0),
      stop_async_browses_requested(false),
      is_inited(false),
      at_startup(true),
      caseSensitiveSearch(arguments.caseSensitiveSearch) {
    if (arguments.share_suffix != nullptr) {
        share_suffix = arguments.share_suffix;
        collect_dir += "-" + share_suffix;
    }
    IIF_LOG(1, "INDEX_IFACE: Info: caseSensitiveSearch [%d]", caseSensitiveSearch ? 1 : 0);
}

index_iface::~index_iface() {
    CXoFile* last_journal = nullptr;
    if (cl_lock != nullptr) {
        // The thread's last cycle tests the pointer under the lock and leaves the journal alone once it is gone.
        const write_guard lock(*cl_lock);
        std::swap(last_journal, journal_file);
    } else {
        std::swap(last_journal, journal_file);
    }
    delete last_journal;
    tear_down();
    release_management_objects();
    try {
        index_iface_log_perf_counters("index_iface::~index_iface()");
    } catch (const std::bad_alloc&) {
        // The figures go unsaid; they stay with the counters.
    }
}

void index_iface::cleanup() {
    write_polled(cleaning_up, true);
    XOSLEEP_InTeRnAl(2000, __FILE__, __LINE__);  // lets a running flush notice
    term_thread();
    CXoDirectory::Remove(collect_dir.c_str(), true, true);
}

int index_iface::get_num_async_browses() {
    return num_async_browses;
}

void index_iface::stop_async_browses() {
    write_polled(stop_async_browses_requested, true);
}
