// The one way by which the tests reach into the object: it forwards, and adds nothing.
#pragma once

#include <utility>

#include "core/index_iface.h"

#define IIF_REACH_CALL(name)                                                    \
    template <class... Arguments>                                               \
    static decltype(auto) name(index_iface& object, Arguments&&... arguments) { \
        return object.name(std::forward<Arguments>(arguments)...);              \
    }
#define IIF_REACH_MEMBER(name)               \
    static auto& name(index_iface& object) { \
        return object.name;                  \
    }

struct index_iface_test_access {
    IIF_REACH_CALL(copy_valid_props)
    IIF_REACH_CALL(write_entry)
    IIF_REACH_CALL(process_single_line)
    IIF_REACH_CALL(process_old_journal_files)
    IIF_REACH_CALL(alloc_caches)
    IIF_REACH_CALL(delete_cached_items)
    IIF_REACH_CALL(find_item_with_key)
    IIF_REACH_CALL(find_item_with_key_and_time)
    IIF_REACH_CALL(insert_to_cache)
    IIF_REACH_CALL(switch_cache)
    IIF_REACH_CALL(find_props_in_cache_by_guid)
    IIF_REACH_CALL(find_props_in_cache_by_path)
    IIF_REACH_CALL(find_in_par_cache_by_guid)
    IIF_REACH_CALL(find_child_in_cache_by_path)
    IIF_REACH_CALL(term_thread)
    IIF_REACH_CALL(run_flush_cycle)
    IIF_REACH_CALL(calc_throttle_delay)
    IIF_REACH_CALL(flush_internal)
    IIF_REACH_CALL(extract_results_zysearch)
    IIF_REACH_CALL(find_content_root_dir)

    IIF_REACH_MEMBER(at_startup)
    IIF_REACH_MEMBER(cleaning_up)
    IIF_REACH_MEMBER(cloud_id)
    IIF_REACH_MEMBER(collect_dir)
    IIF_REACH_MEMBER(collect_file)
    IIF_REACH_MEMBER(collect_save_dir)
    IIF_REACH_MEMBER(cur_cache)
    IIF_REACH_MEMBER(cur_journal_file)
    IIF_REACH_MEMBER(cur_par_cache)
    IIF_REACH_MEMBER(flush_after_count)
    IIF_REACH_MEMBER(flush_event)
    IIF_REACH_MEMBER(flush_tries)
    IIF_REACH_MEMBER(index_server_name)
    IIF_REACH_MEMBER(is_inited)
    IIF_REACH_MEMBER(is_solr_cloud)
    IIF_REACH_MEMBER(journal_file_num)
    IIF_REACH_MEMBER(last_flush_error)
    IIF_REACH_MEMBER(num_buckets)
    IIF_REACH_MEMBER(old_cache)
    IIF_REACH_MEMBER(old_journal_file)
    IIF_REACH_MEMBER(old_journal_files)
    IIF_REACH_MEMBER(old_par_cache)
    IIF_REACH_MEMBER(reject_changes)
    IIF_REACH_MEMBER(root_dir_props)
    IIF_REACH_MEMBER(sync_folder)
    IIF_REACH_MEMBER(thread_running)
    IIF_REACH_MEMBER(webserver_url)
};

#undef IIF_REACH_CALL
#undef IIF_REACH_MEMBER
using reach = index_iface_test_access;
