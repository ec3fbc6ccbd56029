// The keyed cache: elements by their first key, with an index over the second one. Nothing is evicted, so the expected
// size is only where the table starts. Changes need the caller's exclusive lock; finds and dumps only read.
#include "cache/mem_cache.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <unordered_map>
#include <utility>

#include "hostkit/log.h"

struct generic_cache {
    generic_cache_callback on_delete;
    bool case_sensitive1;
    bool case_sensitive2;
    std::unordered_map<std::string, generic_cache_element*> by_key1;
    std::unordered_multimap<std::string, generic_cache_element*> by_key2;
};

namespace {

constexpr std::size_t most_reserved = 65536;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// A key in the form in which two keys that compare equal are the same text.
std::string folded(const char* key, int length, bool case_sensitive) {
    std::string text(key, static_cast<std::size_t>(std::max(length, 0)));
    if (!case_sensitive) std::ranges::transform(text, text.begin(), lower);
    return text;
}

std::string key1_of(const generic_cache& cache, const generic_cache_element& element) {
    return folded(element.key1, element.key1_len, cache.case_sensitive1);
}

std::string key2_of(const generic_cache& cache, const generic_cache_element& element) {
    return folded(element.key2, element.key2_len, cache.case_sensitive2);
}

void forget_key2(generic_cache& cache, const generic_cache_element* element) {
    auto [at, end] = cache.by_key2.equal_range(key2_of(cache, *element));
    at = std::find_if(at, end, [element](const auto& entry) { return entry.second == element; });
    if (at != end) cache.by_key2.erase(at);
}

}  // namespace

generic_cache* generic_cache_init_cache(int capacity, int num_buckets, generic_cache_callback on_delete,
                                        generic_cache_hash, generic_cache_hash, bool case_sensitive1,
                                        bool case_sensitive2) {
    try {
        auto cache =
            std::make_unique<generic_cache>(generic_cache{on_delete, case_sensitive1, case_sensitive2, {}, {}});
        const auto expected = static_cast<std::size_t>(std::clamp(num_buckets, 0, std::max(capacity, 0)));
        cache->by_key1.reserve(std::min(expected, most_reserved));
        cache->by_key2.reserve(std::min(expected, most_reserved));
        return cache.release();
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
    HOSTKIT_LOG(7, "keyed cache [%p]: %zu elements", static_cast<const void*>(cache), cache->by_key1.size());
    for (const auto& [key, element] : cache->by_key1)
        HOSTKIT_LOG(7, "keyed cache [%p]: [%s] -> [%s]", static_cast<const void*>(cache), element->key1, element->key2);
}

void generic_cache_remove_all(generic_cache* cache) {
    cache->by_key2.clear();
    const auto elements = std::exchange(cache->by_key1, {});
    for (const auto& [key, element] : elements)
        cache->on_delete(element);
}

int generic_cache_update_with_key1(generic_cache* cache, const char* key, int length, generic_cache_element* element) {
    try {
        const auto second = cache->by_key2.emplace(key2_of(*cache, *element), element);
        generic_cache_element** place = nullptr;
        try {
            place = &cache->by_key1[folded(key, length, cache->case_sensitive1)];
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
    const auto at = cache->by_key1.find(folded(key, length, cache->case_sensitive1));
    return at == cache->by_key1.end() ? nullptr : at->second;
}

int generic_cache_delete_with_key2(generic_cache* cache, const char* key, int length) {
    auto [at, end] = cache->by_key2.equal_range(folded(key, length, cache->case_sensitive2));
    if (at == end) return ENOENT;
    while (at != end) {
        generic_cache_element* element = at->second;
        at = cache->by_key2.erase(at);
        cache->by_key1.erase(key1_of(*cache, *element));
        cache->on_delete(element);
    }
    return 0;
}
