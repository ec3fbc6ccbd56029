// The keyed cache: elements by their first key, with an index over the second one. Nothing is evicted, so the expected
// size is only where the table starts. Changes need the caller's exclusive lock; finds and dumps only read.
#include "cache/mem_cache.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "hostkit/log.h"

namespace {

constexpr std::size_t most_reserved = 65536;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Keys are compared and hashed where they stand, so that finding and removing needs no memory.
struct key_equal {
    using is_transparent = void;
    bool case_sensitive;
    bool operator()(std::string_view a, std::string_view b) const {
        if (case_sensitive) return a == b;
        return std::ranges::equal(a, b, {}, lower, lower);
    }
};

struct key_hash {
    using is_transparent = void;
    bool case_sensitive;
    std::size_t operator()(std::string_view key) const {
        if (case_sensitive) return std::hash<std::string_view>()(key);
        std::size_t hash = 14695981039346656037U;  // FNV-1a
        for (const char c : key)
            hash = (hash ^ static_cast<unsigned char>(lower(c))) * 1099511628211U;
        return hash;
    }
};

std::string_view view(const char* key, int length) {
    return {key, static_cast<std::size_t>(std::max(length, 0))};
}

}  // namespace

struct generic_cache {
    generic_cache(generic_cache_callback callback, bool case1, bool case2, std::size_t expected)
        : on_delete(callback),
          by_key1(expected, key_hash{case1}, key_equal{case1}),
          by_key2(expected, key_hash{case2}, key_equal{case2}) {}

    generic_cache_callback on_delete;
    std::unordered_map<std::string, generic_cache_element*, key_hash, key_equal> by_key1;
    std::unordered_multimap<std::string, generic_cache_element*, key_hash, key_equal> by_key2;
};

namespace {

void forget_key2(generic_cache& cache, const generic_cache_element* element) {
    auto [at, end] = cache.by_key2.equal_range(view(element->key2, element->key2_len));
    at = std::find_if(at, end, [element](const auto& entry) { return entry.second == element; });
    if (at != end) cache.by_key2.erase(at);
}

}  // namespace

generic_cache* generic_cache_init_cache(int capacity, int num_buckets, generic_cache_callback on_delete,
                                        generic_cache_hash, generic_cache_hash, bool case_sensitive1,
                                        bool case_sensitive2) {
    try {
        const auto expected = static_cast<std::size_t>(std::clamp(num_buckets, 0, std::max(capacity, 0)));
        return new generic_cache(on_delete, case_sensitive1, case_sensitive2, std::min(expected, most_reserved));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void generic_cache_del_cache(generic_cache* cache) {
    if (cache == nullptr) return;
    generic_cache_remove_all(cache);
    delete cache;
}

void generic_cache_dump_cache(const generic_cache* cache) {
    // The library dumps at each rename: without a listener that must not cost a walk over all of them.
    if (!g_ptrLogWriter || g_ptrLogWriter->GetLogLevel() < 7) return;
    HOSTKIT_LOG(7, "keyed cache [%p]: %zu elements", static_cast<const void*>(cache), cache->by_key1.size());
    for (const auto& [key, element] : cache->by_key1)
        HOSTKIT_LOG(7, "keyed cache [%p]: [%s] -> [%s]", static_cast<const void*>(cache), element->key1, element->key2);
}

void generic_cache_remove_all(generic_cache* cache) {
    cache->by_key2.clear();
    for (const auto& [key, element] : cache->by_key1)
        cache->on_delete(element);
    cache->by_key1.clear();
}

int generic_cache_update_with_key1(generic_cache* cache, const char* key, int length, generic_cache_element* element) {
    try {
        const auto second = cache->by_key2.emplace(view(element->key2, element->key2_len), element);
        generic_cache_element** place = nullptr;
        try {
            place = &cache->by_key1[std::string(view(key, length))];
        } catch (const std::bad_alloc&) {
            cache->by_key2.erase(second);
            throw;
        }
        generic_cache_element* former = std::exchange(*place, element);
        if (former != nullptr) {
            forget_key2(*cache, former);
            cache->on_delete(former);
        }
        return 0;
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

generic_cache_element* generic_cache_find_element_with_key1(generic_cache* cache, const char* key, int length) {
    const auto at = cache->by_key1.find(view(key, length));
    return at == cache->by_key1.end() ? nullptr : at->second;
}

int generic_cache_delete_with_key2(generic_cache* cache, const char* key, int length) {
    auto [at, end] = cache->by_key2.equal_range(view(key, length));
    if (at == end) return ENOENT;
    while (at != end) {
        generic_cache_element* element = at->second;
        at = cache->by_key2.erase(at);
        const auto first = cache->by_key1.find(view(element->key1, element->key1_len));
        if (first != cache->by_key1.end()) cache->by_key1.erase(first);
        cache->on_delete(element);
    }
    return 0;
}
