// Keeps borrowed keys valid: retires the items of a record that goes away, and lets a parent item's key follow a text
// that a merge moved in memory. Both leave every item in its bucket, so that lookups see what they always saw.
#include <cerrno>
#include <new>

#include "cache/hash.h"
#include "core/index_iface.h"

namespace {

/// A copy of `text` that lives as long as the cache's content; an empty text, which matches nothing, without memory.
const char* keep_text(index_iface::index_iface_cache& cache, const char* text) noexcept {
    try {
        return cache.texts.emplace_front(text).c_str();
    } catch (const std::bad_alloc&) {
        return "";
    }
}

/// The item whose key is the very text at `key`, of whichever bucket.
index_iface::index_iface_item* find_borrower(const index_iface::index_iface_cache& cache, int num_buckets,
                                             const std::string& text) {
    if (text.empty()) {
        return nullptr;
    }
    const char* key = text.c_str();
    const int bucket = calc_hash(key, static_cast<int>(text.size()), num_buckets);
    for (auto* item = cache.buckets[bucket]; item != nullptr; item = item->hash_next) {
        if (item->key == key) {
            return item;
        }
    }
    // After an earlier merge the item still stands in the bucket of a former text.
    for (auto* item = cache.last; item != nullptr; item = item->list_prev) {
        if (item->key == key) {
            return item;
        }
    }
    return nullptr;
}

}  // namespace

// A failed change is always the latest insertion: the lock has been held since. Its parent item still says that the
// parent was touched. locks: cl_lock held for writing
void index_iface::retire_items(const index_iface_props* props) {
    if (index_iface_item* item = cur_cache->last; item != nullptr && item->props == props) {
        item->props = nullptr;
        item->key = keep_text(*cur_cache, item->key);
    }
    // A rename may have marked its source directory behind the destination.
    index_iface_item* parent = cur_par_cache->last;
    for (int steps = 0; parent != nullptr && steps < 2; ++steps, parent = parent->list_prev) {
        if (parent->key == props->parent_guid.c_str()) {
            parent->key = keep_text(*cur_par_cache, parent->key);
            return;
        }
    }
}

// The caller's text need not outlive the call, so the key is a copy that lives as long as the item. Returns 0, or 1 as
// insert_to_cache does. locks: cl_lock held for writing
int index_iface::insert_foreign_key(index_iface_cache* cache, const std::string& key) {
    return insert_to_cache(cache, keep_text(*cache, key.c_str()), nullptr);
}

// The former parent must no longer be found under its old name, so the key is not a copy but follows the text. Returns
// 0, or ENOMEM with a part of the fields merged. locks: cl_lock held for writing
int index_iface::merge_into_cached(const index_iface_props& src, index_iface_props& dst) {
    index_iface_item* borrower = nullptr;
    if (!src.parent_guid.empty() && src.parent_guid != dst.parent_guid) {
        borrower = find_borrower(*cur_par_cache, num_buckets, dst.parent_guid);
    }
    int ret = 0;
    try {
        copy_valid_props(src, dst);
    } catch (const std::bad_alloc&) {
        ret = ENOMEM;
    }
    if (borrower != nullptr) {
        borrower->key = dst.parent_guid.c_str();
    }
    return ret;
}
