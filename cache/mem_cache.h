// The keyed cache of the host: elements under two text keys. The library remembers renames in it.
#pragma once

#include <cstdint>

#include "host/visibility.h"

/// What the cache holds. Keys and data belong to whoever made the element; the deletion callback gives them back.
struct generic_cache_element {
    const char* key1;
    const char* key2;
    std::int32_t key1_len;
    std::int32_t key2_len;
    void* data;
    std::int32_t size;
};
using generic_cache_element_t = generic_cache_element;

struct generic_cache;

/// Called for each element that leaves the cache, which no longer touches it.
using generic_cache_callback = void (*)(generic_cache_element*);
/// An own way from a key to a number; null for the cache's own.
using generic_cache_hash = int (*)(const char*, int);

/// A new empty cache, null on failure. `capacity` and `num_buckets` are expectations: nothing is ever evicted. The two
/// bools say whether keys 1 and keys 2 compare with case.
IIF_HOST_API generic_cache* generic_cache_init_cache(int capacity, int num_buckets, generic_cache_callback on_delete,
                                                     generic_cache_hash hash1, generic_cache_hash hash2,
                                                     bool case_sensitive1, bool case_sensitive2);

/// Ends a cache, with the callback for each element. Null does nothing.
IIF_HOST_API void generic_cache_del_cache(generic_cache* cache);

/// Writes the contents to the log at level 7. Several threads at once.
IIF_HOST_API void generic_cache_dump_cache(const generic_cache* cache);

/// Empties a cache, which stays usable, with the callback for each element.
IIF_HOST_API void generic_cache_remove_all(generic_cache* cache);

/// Enters `element` under key 1 and takes it over. An element that stands there already is replaced, with the callback.
/// Non-zero when it was not taken; it is the caller's then.
IIF_HOST_API int generic_cache_update_with_key1(generic_cache* cache, const char* key, int length,
                                                generic_cache_element* element);

/// The element under key 1, or null. It stays in the cache. Several threads at once.
IIF_HOST_API generic_cache_element* generic_cache_find_element_with_key1(generic_cache* cache, const char* key,
                                                                         int length);

/// Removes every element whose key 2 is the given text, with the callback for each. Returns 0, or ENOENT when there was
/// none.
IIF_HOST_API int generic_cache_delete_with_key2(generic_cache* cache, const char* key, int length);
