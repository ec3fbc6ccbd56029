// The change caches: what is in memory between a change and its arrival in the index.
//
// C1  Every item is on one bucket chain, newest first, and on the list of its cache, oldest first.
// C2  Keys are borrowed: from the item's record, or from the cache's own texts once the record is gone.
// C3  Several items of one key stand side by side; nothing replaces.
// C4  An item without a record in an item cache is retired: its change failed, and walks and lookups pass over it.
// C5  num_items counts insertions and goes back only when the cache is emptied.
// C6  The key index of an item cache holds every item under the key that it was inserted with, which stays: the merge
//     of a change leaves object_guid alone, and a retired item's key is a copy of the same text.
//
// Nothing here takes a lock: insertion, merge and emptying run with cl_lock held for writing, lookups for reading.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>

#include "cache/hash.h"
#include "cache/mem_cache.h"
#include "core/index_iface.h"
#include "core/log_line.h"
#include "core/time_units.h"

namespace {

constexpr std::size_t bucket_size = sizeof(void*);

std::uint32_t hash_of(const char* key, int key_len) {
    return static_cast<std::uint32_t>(
        std::hash<std::string_view>{}(std::string_view(key, static_cast<std::size_t>(key_len))));
}

/// The slots of the key index: a power of two, as many as the buckets or, where those are few, more.
std::uint32_t slots_of(int num_buckets) {
    return static_cast<std::uint32_t>(std::max(num_buckets, 64));
}

index_iface::index_iface_item*& slot_of(const index_iface::index_iface_cache& cache, int num_buckets,
                                        std::uint32_t hash) {
    return cache.key_index[hash & (slots_of(num_buckets) - 1)];
}

/// The newest item that has the key and passes `matches`. An empty key matches nothing.
template <class Matches>
index_iface::index_iface_item* find_newest(const index_iface::index_iface_cache* cache, int num_buckets,
                                           const char* key, int key_len, Matches matches) {
    if (key_len <= 0 || cache->buckets == nullptr) {
        return nullptr;
    }
    if (cache->key_index) {
        const std::uint32_t hash = hash_of(key, key_len);
        auto* item = slot_of(*cache, num_buckets, hash);
        while (item != nullptr && !(item->key_hash == hash && strcmp(item->key, key) == 0 && matches(*item))) {
            item = item->same_slot_next;
        }
        return item;
    }
    for (auto* item = cache->buckets[calc_hash(key, key_len, num_buckets)]; item != nullptr; item = item->hash_next) {
        if (strcmp(item->key, key) == 0 && matches(*item)) {
            return item;
        }
    }
    return nullptr;
}

int length_of(const char* key, int key_len) {
    return key_len == -1 ? static_cast<int>(strlen(key)) : key_len;
}

}  // namespace

bool index_iface::alloc_buckets(index_iface_cache& cache) const {
    cache.buckets = static_cast<index_iface_item**>(
        calloc(static_cast<std::size_t>(static_cast<std::int64_t>(num_buckets)), bucket_size));
    return cache.buckets != nullptr;
}

// Without memory for it, lookups walk the bucket chains, which takes longer and finds the same.
void index_iface::alloc_key_index(index_iface_cache& cache) const {
    cache.key_index.reset(new (std::nothrow) index_iface_item*[slots_of(num_buckets)]());
}

int index_iface::alloc_caches() {
    constexpr unsigned long size = bucket_size;
    num_buckets = calc_hash_buckets(static_cast<int>(flush_after_count));
    if (!alloc_buckets(cache1)) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not allocate memory for cache1 buckets, num_buckets [%d], size [%lu], error "
            "[%s].",
            num_buckets, size, strerror(errno));
        free_caches();
        return 1;
    }
    if (!alloc_buckets(cache2)) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not allocate memory for cache2 buckets, num_buckets [%d], size [%lu], error "
            "[%s].",
            num_buckets, size, strerror(errno));
        free_caches();
        return 1;
    }
    cur_cache = &cache1;
    old_cache = &cache2;
    if (!alloc_buckets(par_cache1)) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not allocate memory for par_cache1 buckets, num_buckets [%d], size [%lu], error "
            "[%s].",
            num_buckets, size, strerror(errno));
        free_caches();
        return 1;
    }
    if (!alloc_buckets(par_cache2)) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not allocate memory for par_cache2 buckets, num_buckets [%d], size [%lu], error "
            "[%s].",
            num_buckets, size, strerror(errno));
        free_caches();
        return 1;
    }
    cur_par_cache = &par_cache1;
    old_par_cache = &par_cache2;
    if (init_rename_cache() != 0) {
        free_caches();
        return 1;
    }
    alloc_key_index(cache1);
    alloc_key_index(cache2);
    spares.set_limit(flush_after_count);
    return 0;
}

// Parents first: their keys point into the records.
void index_iface::free_caches() {
    delete_cache_memory(&par_cache2);
    delete_cache_memory(&par_cache1);
    delete_cache_memory(&cache2);
    delete_cache_memory(&cache1);
    generic_cache_del_cache(cur_ren_cache);
    generic_cache_del_cache(old_ren_cache);
    cur_ren_cache = nullptr;
    old_ren_cache = nullptr;
}

void index_iface::delete_cache_memory(index_iface_cache* cache) {
    delete_cached_items(cache);
    cache->items.clear(0);
    cache->key_index.reset();
    free(cache->buckets);
    cache->buckets = nullptr;
}

// Reads no key: the texts that parent items point into may be gone already. The records and the room for items serve
// the next batch.
void index_iface::delete_cached_items(index_iface_cache* cache) {
    if (cache->buckets == nullptr) {
        return;
    }
    for (int bucket = 0; bucket < num_buckets; ++bucket) {
        index_iface_item* item = cache->buckets[bucket];
        cache->buckets[bucket] = nullptr;
        while (item != nullptr) {
            spares.keep(item->props);
            item = item->hash_next;
        }
    }
    if (cache->key_index) {
        std::fill_n(cache->key_index.get(), slots_of(num_buckets), nullptr);
    }
    cache->items.clear(flush_after_count);
    cache->first = nullptr;
    cache->last = nullptr;
    cache->num_items = 0;
    cache->texts.clear();
}

// Reads no record, so it is the one lookup that parent caches allow.
index_iface::index_iface_item* index_iface::find_item_with_key(const index_iface_cache* cache, const char* key,
                                                               int key_len) const {
    return find_newest(cache, num_buckets, key, length_of(key, key_len), [](const auto&) { return true; });
}

index_iface::index_iface_item* index_iface::find_item_with_key(const index_iface_cache* cache,
                                                               const index_iface_browse_fields& fields, int key_len,
                                                               index_iface_time_t real_before_time) const {
    if (fields.version_guid != nullptr) {
        return find_item_with_key_and_version(cache, fields.object_guid, key_len, fields.version_guid);
    }
    return find_item_with_key_and_time(cache, fields, key_len, real_before_time);
}

index_iface::index_iface_item* index_iface::find_item_with_key_and_version(const index_iface_cache* cache,
                                                                           const char* key, int key_len,
                                                                           const char* version_guid) const {
    return find_newest(cache, num_buckets, key, length_of(key, key_len), [version_guid](const auto& item) {
        return item.props != nullptr && strcmp(item.props->version_guid.c_str(), version_guid) == 0;
    });
}

// Here -1 is no length: the one caller computes it.
index_iface::index_iface_item* index_iface::find_item_with_key_and_time(const index_iface_cache* cache,
                                                                        index_iface_browse_fields fields, int key_len,
                                                                        index_iface_time_t real_before_time) const {
    const index_iface_time_t lower_bound = index_iface_sec_to_ns(fields.after_time);
    return find_newest(cache, num_buckets, fields.object_guid, key_len, [=](const auto& item) {
        return item.props != nullptr && lower_bound <= item.props->vtime && item.props->vtime <= real_before_time;
    });
}

int index_iface::cache_insert(index_iface_cache* cache, index_iface_item* item) {
    if (item->key == nullptr || item->key[0] == '\0') {
        IIF_LOG_ERROR("INDEX_IFACE: Error: key [%p] is invalid or key[0] is 0.", static_cast<const void*>(item->key));
        return 1;
    }
    if (item->key_len == -1) {
        item->key_len = static_cast<std::int32_t>(strlen(item->key));
    }
    index_iface_item*& head = cache->buckets[calc_hash(item->key, item->key_len, num_buckets)];
    item->hash_prev = nullptr;
    item->hash_next = head;
    if (head != nullptr) {
        head->hash_prev = item;
    }
    head = item;

    item->list_prev = cache->last;
    item->list_next = nullptr;
    (cache->last != nullptr ? cache->last->list_next : cache->first) = item;
    cache->last = item;
    ++cache->num_items;

    if (cache->key_index) {
        item->key_hash = hash_of(item->key, item->key_len);
        index_iface_item*& newest = slot_of(*cache, num_buckets, item->key_hash);
        item->same_slot_next = newest;
        newest = item;
    }
    return 0;
}

int index_iface::insert_to_cache(index_iface_cache* cache, const char* key, index_iface_props* props) {
    index_iface_item* item = cache->items.make();
    if (item == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not instantiate index_iface_item.");
        return 1;
    }
    item->key = key;
    item->props = props;
    if (cache_insert(cache, item) != 0) {
        cache->items.unmake_last();
        return 1;
    }
    return 0;
}

// The test is for an item at the address of a record, or at null. No item ever stands there, so nothing is unlinked: a
// failed change keeps its items, which are retired instead. Neither `first`, `last` nor the count is updated.
void index_iface::rm_item_from_cache(index_iface_cache* cache, const char* key, index_iface_props* props) {
    const void* wanted = props;
    index_iface_item* item = find_newest(cache, num_buckets, key, length_of(key, -1), [wanted](const auto& candidate) {
        return static_cast<const void*>(&candidate) == wanted;
    });
    if (item == nullptr) {
        return;
    }
    if (item->hash_prev != nullptr) {
        item->hash_prev->hash_next = item->hash_next;
    } else {
        cache->buckets[calc_hash(key, length_of(key, -1), num_buckets)] = item->hash_next;
    }
    if (item->hash_next != nullptr) {
        item->hash_next->hash_prev = item->hash_prev;
    }
    if (item->list_prev != nullptr) {
        item->list_prev->list_next = item->list_next;
    }
    if (item->list_next != nullptr) {
        item->list_next->list_prev = item->list_prev;
    }
}
