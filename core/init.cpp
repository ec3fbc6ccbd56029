// Start-up: from the identities of the share to a delivered backlog. Every failure says where to look and takes back
// what was made, except when the collect directory cannot be created: then everything made so far stays, and the next
// `init` or the destructor reclaims it.
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/allocation.h"
#include "core/index_iface.h"
#include "core/init_locals.h"
#include "core/log_line.h"
#include "core/polled.h"
#include "flush/event.h"
#include "journal/journal_files.h"
#include "observability/index_iface_perf.h"

int index_iface::init() {
    int ret = 0;
    if (!read_polled(is_inited)) {
        release_management_objects();
        tear_down();
        init_locals locals;
        ret = init_steps(locals);
        if (locals.leave_at_once) {
            return ret;
        }
        if (ret == 0) {
            write_polled(is_inited, true);
        } else {
            tear_down();
        }
        release_management_objects();
    }
    // The common end: it stops the counter also where nothing started it.
    stop_perf_counter("index_iface::init()", perf_init);
    return ret;
}

int index_iface::init_steps(init_locals& locals) {
    {
        const std::lock_guard<std::mutex> lock(msg_lock);
        query_status_msg = "waiting";
        flush_status_msg = "waiting";
    }
    root_dir_props = make_or_null<index_iface_props>();
    if (root_dir_props == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not allocate memory for index_iface_props.");
        return ENOMEM;
    }
    if (subclient_id == 0) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: subclient_id value [%lu] is invalid.", subclient_id);
        return EINVAL;
    }
    locals.platform_info.setFocus(ZYPI_Focus::getFocus());
    init_perf(locals.platform_info);
    start_perf_counter("index_iface::init()", perf_init);
    if (share_name.empty()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: share_name cannot be an empty string.");
        return EINVAL;
    }
    if (flush_after_count == 0) {
        flush_after_count = 1000;
    }
    if (const int ret = ask_identities(locals); ret != 0) {
        return ret;
    }
    if (const int ret = ask_web_client(locals); ret != 0) {
        return ret;
    }
    if (const int ret = find_content_root_dir(); ret != 0) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: Failed to get sync folder.");
        return ret;
    }
    IIF_LOG(1, "INDEX_IFACE: Info: Found sync_folder [%s] for share [%s].", sync_folder.c_str(), share_name.c_str());
    if (const int ret = alloc_caches(); ret != 0) {
        return ret;
    }
    if (const int ret = prepare_collect_dir(locals.leave_at_once); ret != 0) {
        return ret;
    }
    if (const int ret = start_thread_and_journal(); ret != 0) {
        return ret;
    }
    name_collect_files(locals);
    // What replay left in the caches goes out before the object is declared ready.
    return flush();
}

int index_iface::prepare_collect_dir(bool& leave_at_once) {
    if (access(collect_dir.c_str(), R_OK | W_OK | X_OK) == 0) {
        IIF_LOG(1, "INDEX_IFACE: Info: Collect dir exists [%s]. Will process existing collect files if any..",
                collect_dir.c_str());
        return process_old_journal_files(collect_dir);
    }
    if (errno == ENOENT) {
        const CXoError error = CXoDirectory::Create(collect_dir.c_str(), true);
        if (error.IsError()) {
            IIF_LOG_ERROR("INDEX_IFACE: Error: can not create directory [%s] [%s]", collect_dir.c_str(),
                          error.AsString().c_str());
            leave_at_once = true;
            return FXErrorUtil::GetErrNo(error);
        }
        return 0;
    }
    IIF_LOG_ERROR("INDEX_IFACE: Error: access [%s] failed with the error [%s].", collect_dir.c_str(), strerror(errno));
    return -1;
}

int index_iface::start_thread_and_journal() {
    flush_event = make_or_null<ZyEvent>(false);
    if (flush_event == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate ZyEvent.");
        return ENOMEM;
    }
    cl_lock = make_or_null<ZyComplexLock>();
    if (cl_lock == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate ZyComplexLock.");
        return ENOMEM;
    }
    IIF_LOG(5, "cl_lock [%p]", static_cast<void*>(cl_lock));
    flush_thread = make_or_null<ZYThread>();
    if (flush_thread == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate ZyThread.");
        return ENOMEM;
    }
    if (const int ret = create_thread(); ret != 0) {
        return ret;
    }
    journal_file = make_or_null<CXoFile>();
    if (journal_file == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate CXoFile.");
        return ENOMEM;
    }
    if (!cur_journal_file.empty()) {
        const int ret = open_journal_file(reopen_journal_flags);
        if (ret != 0) {
            IIF_LOG_ERROR("INDEX_IFACE: Error: Failed to open existing journal file.");
        }
        return ret;
    }
    const int ret = create_next_journal_file();
    if (ret != 0) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: Failed to create next journal file.");
    }
    return ret;
}

void index_iface::name_collect_files(init_locals& locals) {
    const std::string leaf = FXString::Format("%s_%lu_%lu_%llu.zyf", "lumo_index", subclient_id, client_id,
                                              static_cast<unsigned long long>(job_id));
    collect_file = collect_dir;
    FXPath::Append(collect_file, leaf, 0);

    unsigned save_disabled = 0;
    locals.platform_info.getNumber("Lumo", "nDisableJournalSave", save_disabled);
    if (save_disabled != 0) {
        collect_save_dir.clear();
        return;
    }
    if (CXoDirectory::Create(collect_save_dir.c_str(), true).IsError()) {
        IIF_LOG(1, "INDEX_IFACE: INFO: Cannot create collect file save directory [%s]", collect_save_dir.c_str());
        collect_save_dir.clear();
    }
}

// Leaves the names and ids that were found; they are found anew by the next start.
void index_iface::tear_down() {
    delete_and_clear(journal_file);
    term_thread();
    delete_and_clear(flush_thread);
    delete_and_clear(cl_lock);
    delete_and_clear(flush_event);
    free_caches();
    delete_and_clear(curl_cache);
    delete_and_clear(collect_handler);
    delete_and_clear(root_dir_props);
}
