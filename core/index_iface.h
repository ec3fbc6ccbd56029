// The object that a host holds for each share. It reports changes, which are journalled and cached before the call
// returns, and asks queries, which see the pending changes first and the index server for the rest.
#pragma once

#include <atomic>
#include <cstdint>
#include <forward_list>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cache/block_store.h"
#include "cache/spare_records.h"
#include "core/records.h"
#include "core/stats.h"
#include "core/visibility.h"
#include "host/collect.h"
#include "host/concurrency.h"
#include "host/errors.h"
#include "host/files.h"
#include "host/http.h"
#include "host/identity.h"
#include "host/message_classes.h"

class ZyEvent;
class index_iface_cache_helper;
struct generic_cache;

/// Order of calls: constructor, `init`, any mix of changes and queries from any threads, optionally `cleanup`, then the
/// destructor with no call under way. Results are 0 or a positive errno value unless said otherwise.
/// Where memory is missing the change operations say so by their result; all other operations may throw std::bad_alloc,
/// with no lock left taken, and nothing else.
///
/// Locks. `cl_lock` guards the caches and their role pointers, the two journal names, `journal_file`,
/// `journal_file_num`, `at_startup`, and the writing of `flush_tries` and `reject_changes`. It is never held across
/// network work, a transaction, a collect file write or a sleep, and no path takes it twice. `msg_lock` guards the two
/// status texts and is not taken while `cl_lock` is held. `delivery_mutex` keeps two deliveries apart; it is taken
/// before `cl_lock`. Flags that threads poll are reached through core/polled.h alone.
///
/// The shared library exports the public operations and not the class, so that the private ones stay its own.
class index_iface {
public:
    /// What a host gives for a share. Only read during construction.
    struct args {
        std::uint64_t subclient_id = 0;        ///< stands for the share; not 0 at `init`
        std::uint32_t flush_after_count = 0;   ///< pending items that request a flush; 0 means 1000
        std::int32_t flush_after_seconds = 0;  ///< period of flushes; below 1 there is none
        bool caseSensitiveSearch = true;
        const char* root_dir = nullptr;      ///< directory for the library's files; not null
        const char* share_name = nullptr;    ///< not null; not empty at `init`
        const char* share_suffix = nullptr;  ///< may be null
    };

    /// One entry of one cache. The key is borrowed, from the record or from the cache's own texts.
    struct index_iface_item {
        index_iface_item() : key_len(-1) {}
        const char* key;
        std::int32_t key_len;
        index_iface_props* props;  ///< owned once inserted; null in parent caches and in retired items
        index_iface_item* hash_prev;
        index_iface_item* hash_next;
        index_iface_item* list_prev;
        index_iface_item* list_next;
        index_iface_item* same_slot_next;  ///< towards older items of one slot of the key index
        std::uint32_t key_hash;            ///< of the key index
    };

    /// A table of bucket chains, newest first, with a list in insertion order, oldest first.
    struct index_iface_cache {
        index_iface_item** buckets = nullptr;
        index_iface_item* first = nullptr;
        index_iface_item* last = nullptr;
        std::int32_t num_items = 0;            ///< insertions since the cache was last emptied
        std::forward_list<std::string> texts;  ///< keys whose first owner is gone; emptied with the cache
        block_store<index_iface_item> items;   ///< where all items of the cache are
        /// Item caches find by key here, newest first, as along the bucket chain but past no other key; null in parent
        /// caches, whose keys can change where they stand.
        std::unique_ptr<index_iface_item*[]> key_index;
    };

    using props_list = std::list<index_iface_props*>;

    /// Stores the arguments; opens nothing.
    IIF_API explicit index_iface(args& arguments);

    /// Ends the thread and frees everything. Nothing is flushed: what was not delivered stays in the journal files for
    /// the next `init`. Waits for a delivery under way.
    IIF_API ~index_iface();

    index_iface(const index_iface&) = delete;
    index_iface& operator=(const index_iface&) = delete;

    /// Makes the object work: finds the index and the share's root in it, replays journals of an earlier run, starts
    /// the flush thread and delivers what was replayed. Returns 0, an errno value, -1, 1 (no memory for the caches, or
    /// no thread) or the value of the host service that failed; the log says which. A second call after success does
    /// nothing. One thread.
    IIF_API int init();

    /// Ends the work and removes `collect_dir` with the changes that were not delivered. Sleeps 2 seconds.
    IIF_API void cleanup();

    /// Reports a new object. On 0 the change is cached and journalled and survives this process. Copies `props`; fills
    /// its `vtime_sec` from `vtime` when that is unset. Returns EIO (changes are refused), EINVAL (a GUID or `vtime`
    /// missing, `dtime` set), ENOMEM, 1 (a cache refused the item) or the errno of the journal write. Any thread. Takes
    /// `cl_lock`; may sleep after releasing it.
    IIF_API int add_item(const index_iface_props& props);

    /// Reports a changed object by `object_guid`, `version_guid`, `vtime` and what changed. A pending change of the
    /// same version takes the fields in. `parent_guid` may be empty. Results and locking as add_item.
    IIF_API int update_item(const index_iface_props& props);

    /// Reports a deleted object by `object_guid`, `parent_guid`, `path`, `vtime` and `dtime`. Results and locking as
    /// add_item, but here a missing `dtime` is EINVAL.
    IIF_API int delete_item(const index_iface_props& props);

    /// Reports an object that now stands at `props.path` below `props.parent_guid` and stood at `old_path` below
    /// `old_parent_guid`. A pending change of the same version takes it in. Until it is delivered the old path is
    /// answered with ENOENT. With `flush_now` the call delivers it before it returns; a failure of that does not change
    /// the result. Results and locking as add_item; a result of the memory of renames as well; may throw
    /// std::bad_alloc.
    IIF_API int rename_item(const index_iface_props& props, const std::string& old_parent_guid,
                            const std::string& old_path, bool flush_now);

    /// Returns when the changes accepted before the call have been delivered, with 0; or EIO (refused), EINTR (ended by
    /// `cleanup`), or the error of the rotation or delivery. It has no time limit. Any thread, without `cl_lock`.
    IIF_API int flush();

    /// Looks up the object with `fields.object_guid`. Otherwise as find_by_path, but the result carries the index's
    /// path.
    IIF_API int find_by_guid(const index_iface_browse_fields& fields, index_iface_props& props);

    /// Looks up the object at `fields.path`. Fills `props` only on 0. Returns ENOENT, EINVAL (no path), EIO (the server
    /// reported an error), or a negative number when the server could not be reached. Any thread; blocks on the
    /// network.
    IIF_API int find_by_path(const index_iface_browse_fields& fields, index_iface_props& props);

    /// Appends the children of the directory at `fields.path` to `results`, whose records then belong to the caller
    /// (see delete_browse_memory). On failure the whole list is emptied. Flushes first when children are pending.
    /// Results as find_by_path, an absent directory giving 0 and nothing, and those of flush.
    IIF_API int browse_by_path(const index_iface_browse_fields& fields, props_list& results);

    /// As browse_by_path, by the directory's `fields.object_guid`.
    IIF_API int browse_by_guid(const index_iface_browse_fields& fields, props_list& results);

    /// The extents of the file `fields.object_guid` in ascending order, the newest version of each.
    IIF_API int browse_file_extents(const index_iface_browse_fields& fields, props_list& results);

    /// The extents of the whole share that have no backup data yet, deleted ones included. Never flushes.
    IIF_API int browse_extents_not_backedup(props_list& results);

    /// Frees the records of a browse result and empties the list. No lock.
    IIF_API void delete_browse_memory(props_list& results);

    /// Enters the ten totals as decimal text under their keys. Other keys of the map stay.
    IIF_API void get_counters(std::map<std::string, std::string>& counters);
    IIF_API void clear_counters();

    /// "", "waiting", "operational" or "failed N times".
    IIF_API std::string get_flush_status_msg();
    /// "", "waiting", "operational" or "failed".
    IIF_API std::string get_query_status_msg();

    /// Writes the item caches to the log at level 4. All changes and lookups wait for it.
    IIF_API void dump_caches();

    /// Always 0: no query is asynchronous.
    IIF_API int get_num_async_browses();
    IIF_API void stop_async_browses();

private:
    friend class index_iface_cache_helper;
    friend void* flush_entry(void* object);
    friend struct index_iface_test_access;

    struct init_locals;
    struct query_key;

    // core/
    static void copy_valid_props(const index_iface_props& src, index_iface_props& dst);
    bool refuse_change() const;
    static bool check_guids(const index_iface_props& props);
    static bool check_vtime(const index_iface_props& props);
    static bool check_no_dtime(const index_iface_props& props);
    index_iface_props* copy_record(const index_iface_props& props);
    index_iface_props* merge_or_copy(const index_iface_props& props, std::unique_ptr<index_iface_props>& fresh,
                                     int& ret);
    void roll_back(index_iface_props* new_props);
    void sleep_off(std::uint32_t delay);
    int cache_update(index_iface_props* new_props);
    int cache_rename(index_iface_props* new_props);
    int finish_rename(const index_iface_props& props, const std::string& old_parent_guid, const std::string& old_path,
                      index_iface_props* record);
    void roll_back_rename(index_iface_props* record, bool is_new, const std::string& old_parent_guid);
    int rename_under_lock(const index_iface_props& props, const std::string& old_parent_guid,
                          const std::string& old_path, bool flush_now, std::uint32_t& delay);
    int update_under_lock(const index_iface_props& props, std::uint32_t& delay);
    int cache_and_journal(index_iface_props* new_props, const std::string& line);
    int init_steps(init_locals& locals);
    int ask_identities(init_locals& locals);
    int ask_web_client(init_locals& locals);
    int prepare_collect_dir(bool& leave_at_once);
    int start_thread_and_journal();
    void name_collect_files(init_locals& locals);
    void tear_down();
    void release_management_objects();

    // journal/
    void build_entry_line(index_iface_props::ops op, const index_iface_props& props, bool to_journal,
                          std::string& line) const;
    /// The journal line of a record that no other thread knows yet, so that it need not be built under cl_lock; empty
    /// without memory. It stands until the thread builds another one.
    const std::string& early_journal_line(const index_iface_props& props) const noexcept;
    CXoError journal_early_line(const std::string& line, index_iface_props* props);
    CXoError refuse_after(CXoError error);
    CXoError write_entry(CXoFile* file, index_iface_props::ops op, index_iface_props* props, bool to_journal);
    int process_single_line(index_iface_cache* cache, char* line);
    int open_journal_file(int flags);
    int create_next_journal_file();
    int process_old_journal_files(const std::string& directory);
    int read_journal_file(index_iface_cache* cache, const std::string& path);
    void keep_replayed(const index_iface_cache* cache);

    // cache/
    int alloc_caches();
    bool alloc_buckets(index_iface_cache& cache) const;
    void alloc_key_index(index_iface_cache& cache) const;
    void free_caches();
    void delete_cache_memory(index_iface_cache* cache);
    void delete_cached_items(index_iface_cache* cache);
    index_iface_item* find_item_with_key(const index_iface_cache* cache, const char* key, int key_len) const;
    index_iface_item* find_item_with_key(const index_iface_cache* cache, const index_iface_browse_fields& fields,
                                         int key_len, index_iface_time_t real_before_time) const;
    index_iface_item* find_item_with_key_and_version(const index_iface_cache* cache, const char* key, int key_len,
                                                     const char* version_guid) const;
    index_iface_item* find_item_with_key_and_time(const index_iface_cache* cache, index_iface_browse_fields fields,
                                                  int key_len, index_iface_time_t real_before_time) const;
    int cache_insert(index_iface_cache* cache, index_iface_item* item);
    int insert_to_cache(index_iface_cache* cache, const char* key, index_iface_props* props);
    void rm_item_from_cache(index_iface_cache* cache, const char* key, index_iface_props* props);
    int insert_props_to_cache(index_iface_cache* cache, index_iface_props&& props);
    int insert_foreign_key(index_iface_cache* cache, const std::string& key);
    int init_rename_cache();
    int add_to_rename_cache(const index_iface_props& props, const std::string& old_path);
    int delete_from_rename_cache(const index_iface_props& props);
    int was_path_renamed(const index_iface_browse_fields& fields);
    void retire_items(const index_iface_props* props);
    int merge_into_cached(const index_iface_props& src, index_iface_props& dst);
    int switch_cache();
    int rotate();
    int find_props_in_cache_by_guid(const index_iface_browse_fields& fields, index_iface_props& props);
    int find_props_in_cache_by_path(const index_iface_browse_fields& fields, index_iface_props& props);
    template <class Words, class Finder>
    int find_props_in_cache(const Words& words, index_iface_props& props, Finder find);
    index_iface_item* find_item_with_path(const index_iface_cache* cache, const index_iface_browse_fields& fields,
                                          index_iface_time_t real_before_time) const;
    index_iface_item* find_item_with_path_and_version(const index_iface_cache* cache, const char* path,
                                                      const char* version_guid) const;
    index_iface_item* find_item_with_path_and_time(const index_iface_cache* cache,
                                                   const index_iface_browse_fields& fields,
                                                   index_iface_time_t real_before_time) const;
    int find_in_par_cache_by_guid(const index_iface_browse_fields& fields);
    int find_child_with_path(const index_iface_cache* cache, const char* parent_path) const;
    int find_child_in_cache_by_path(const char* parent_path);

    // flush/
    int create_thread();
    void term_thread();
    void run_flush_cycle();
    void log_flush_start();
    void notify_thread_if();
    std::uint32_t calc_throttle_delay() const;
    int flush_internal();
    CXoError deliver(bool& collect_file_stands);
    void forget_delivered_batch();
    void count_failed_flush();
    void save_collect_file();
    void cleanup_prev_transaction();
    CXoError write_collect_file();
    CXoError write_file_updates(CXoFile& file);
    CXoError write_file_non_updates(CXoFile& file);
    CXoError write_extents(CXoFile& file);
    CXoError write_groups(CXoFile& file);
    template <class Predicate>
    CXoError write_group(CXoFile& file, Predicate belongs);

    // query/
    template <class Lookup, class Search>
    int find_in_all(const index_iface_browse_fields& fields, index_iface_props& props, Lookup lookup, Search search);
    int answer_find(int ret);
    int answer_browse(int ret);
    int find_common_zysearch(KT5ContentIndexing::ZYSearchReq& request, index_iface_props& result, int& count,
                             bool is_extent, const index_iface_browse_fields& fields,
                             index_iface_time_t real_before_time, bool ignore_deleted);
    int browse_common_zysearch(KT5ContentIndexing::ZYSearchReq& request, props_list& results, int& count,
                               bool is_extent, const index_iface_browse_fields& fields,
                               index_iface_time_t real_before_time, bool ignore_deleted);
    int exchange_zysearch(KT5ContentIndexing::ZYSearchReq& request, std::string& response_text);
    int extract_results_zysearch(std::vector<KT5ContentIndexing::GResultItem>::iterator item, index_iface_props& props,
                                 bool is_extent, const index_iface_browse_fields& fields,
                                 index_iface_time_t real_before_time, bool ignore_deleted);
    void extract_object_fields(KT5ContentIndexing::GResultItem& item, const CNMessageBase& attributes,
                               index_iface_props& props) const;
    void extract_named_properties(KT5ContentIndexing::GResultItem& item, index_iface_props& props) const;
    int browse_by_path_zysearch(const index_iface_browse_fields& fields, props_list& results);
    int find_by_path_zysearch(const index_iface_browse_fields& fields, index_iface_props& props);
    int find_by_guid_zysearch(const index_iface_browse_fields& fields, index_iface_props& props);
    int browse_by_guid_zysearch(const index_iface_browse_fields& fields, props_list& results);
    int browse_file_extents_zysearch(const index_iface_browse_fields& fields, props_list& results);
    int browse_extents_not_backedup_zysearch(props_list& results);
    void fill_query_head(KT5ContentIndexing::ZYSearchReq& request, const index_iface_browse_fields& fields,
                         index_iface_time_t real_time, const query_key& key) const;
    void fill_group_options(KT5ContentIndexing::SearchProcessingInfo* info,
                            const index_iface_browse_fields& fields) const;
    std::string path_in_index(const char* path) const;
    template <class Page>
    int browse_pages(KT5ContentIndexing::ZYSearchReq& request, props_list& results, Page ask_page);

    // discovery/
    int find_content_root_dir();
    int find_content_root_dir_from_hq();

    // observability/
    void set_query_msg_success();
    void set_query_msg_failed();
    static void init_perf(ZYPlatformInfo& platform_info);
    void dump_cache(const index_iface_cache* cache) const;

    std::uint64_t job_id;  // always 0
    std::uint64_t client_id = 0;
    std::uint64_t subclient_id;
    std::string webserver_url;
    std::int32_t cloud_id;
    bool is_solr_cloud;
    bool reject_changes;  // polled; written under cl_lock
    std::string index_server_name;
    std::uint32_t flush_after_count;  // fixed once the thread runs
    std::uint32_t last_flush_error;   // polled
    std::int32_t flush_tries;         // polled; written under cl_lock
    std::int64_t flush_after_seconds;
    ZYThread* flush_thread;
    bool thread_running;  // polled; written by the flush thread alone
    bool thread_stop;     // polled
    bool cleaning_up;     // polled
    std::string root_dir;
    std::string sync_folder;
    index_iface_props* root_dir_props;
    std::string share_name;
    std::string share_suffix;
    std::string collect_dir;
    std::uint32_t journal_file_num;
    index_iface_cache cache1;
    index_iface_cache cache2;
    index_iface_cache* cur_cache;
    index_iface_cache* old_cache;
    index_iface_cache par_cache1;
    index_iface_cache par_cache2;
    index_iface_cache* cur_par_cache;
    index_iface_cache* old_par_cache;
    generic_cache* cur_ren_cache;
    generic_cache* old_ren_cache;
    std::int32_t num_buckets = 0;
    spare_records spares;
    std::string cur_journal_file;
    std::string old_journal_file;  // empty: no batch waits, and then the old caches are empty
    std::string collect_file;
    std::string collect_save_dir;
    ZyEvent* flush_event;
    ZyComplexLock* cl_lock;
    CMarlCollectHandler* collect_handler;
    CXoFile* journal_file;
    IdxBrowseClientCache browse_cache;
    CurlWrapperCache* curl_cache;
    std::int32_t num_async_browses;     // always 0
    bool stop_async_browses_requested;  // nothing reads it
    bool is_inited;                     // polled; publishes the object to the flush thread
    bool at_startup;
    bool caseSensitiveSearch;
    std::vector<index_iface_props> old_journal_files;
    index_iface_stats stats;
    std::mutex msg_lock;
    std::string flush_status_msg;
    std::string query_status_msg;

    std::mutex delivery_mutex;                // one delivery at a time; taken before cl_lock
    std::string delivery_journal;             // old_journal_file as the delivery found it; under delivery_mutex
    ApplicationId* application_id = nullptr;  // held only while init runs, or after its one return without tear-down
    ZYClient* web_client = nullptr;           // the same
};
