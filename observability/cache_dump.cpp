// The dump of the item caches into the log, in bucket order. Parent caches hold no records and are left out.
#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"

void index_iface::dump_caches() {
    const write_guard lock(*cl_lock);
    dump_cache(cur_cache);
    dump_cache(old_cache);
}

// The records are copied at any log level. locks: cl_lock held for writing
void index_iface::dump_cache(const index_iface_cache* cache) const {
    IIF_LOG(4, "INDEX_IFACE: items in cache [%p].", static_cast<const void*>(cache));
    for (int bucket = 0; bucket < num_buckets; ++bucket) {
        for (const index_iface_item* item = cache->buckets[bucket]; item != nullptr; item = item->hash_next) {
            if (item->props == nullptr) {
                continue;
            }
            const index_iface_props copy = *item->props;
            IIF_LOG(4,
                    "INDEX_IFACE: bucket[%d]: key1 [%s], key1_len [%d], idx_ops [%d], path [%s], version_guid [%s], "
                    "object_guid [%s], parent_guid [%s], mtime [%ld], vtime [%lld], vtime_sec [%ld], dtime [%lld].",
                    bucket, item->key, item->key_len, copy.idx_ops, copy.path.c_str(), copy.version_guid.c_str(),
                    copy.object_guid.c_str(), copy.parent_guid.c_str(), copy.mtime, copy.vtime, copy.vtime_sec,
                    copy.dtime);
        }
    }
}
