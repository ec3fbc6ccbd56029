// The one way by which the tests reach into the object: it forwards, and adds nothing.
#pragma once

#include <boost/preprocessor/seq/for_each.hpp>
#include <utility>

#include "core/index_iface.h"

#define REACHED_CALLS                \
    (copy_valid_props)(write_entry)( \
        process_single_line)(process_old_journal_files)(delete_cached_items)(insert_to_cache)(switch_cache)(find_props_in_cache_by_guid)(find_props_in_cache_by_path)(find_in_par_cache_by_guid)(find_child_in_cache_by_path)(was_path_renamed)(term_thread)(run_flush_cycle)(calc_throttle_delay)(flush_internal)(extract_results_zysearch)
#define REACHED_MEMBERS        \
    (at_startup)(collect_dir)( \
        collect_file)(cur_cache)(cur_journal_file)(cur_par_cache)(flush_after_count)(flush_event)(flush_tries)(is_inited)(is_solr_cloud)(journal_file_num)(last_flush_error)(num_buckets)(old_cache)(old_journal_file)(old_par_cache)(reject_changes)(sync_folder)(thread_running)
#define REACH_CALL(r, unused, name)                                             \
    template <class... Arguments>                                               \
    static decltype(auto) name(index_iface& object, Arguments&&... arguments) { \
        return object.name(std::forward<Arguments>(arguments)...);              \
    }
#define REACH_MEMBER(r, unused, name)        \
    static auto& name(index_iface& object) { \
        return object.name;                  \
    }

struct index_iface_test_access {
    BOOST_PP_SEQ_FOR_EACH(REACH_CALL, , REACHED_CALLS)
    BOOST_PP_SEQ_FOR_EACH(REACH_MEMBER, , REACHED_MEMBERS)
};

using reach = index_iface_test_access;
