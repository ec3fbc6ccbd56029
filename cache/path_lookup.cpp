// Lookups by path. The tables are keyed by GUID, so these walk all buckets, and between objects of one path the bucket
// order decides.
#include <strings.h>

#include <cerrno>
#include <cstring>

#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/time_units.h"

namespace {

/// The first item with a record, in bucket order and newest first within a bucket, that passes `matches`.
template <class Matches>
index_iface::index_iface_item* first_match(const index_iface::index_iface_cache* cache, int num_buckets,
                                           Matches matches) {
    for (int bucket = 0; bucket < num_buckets; ++bucket) {
        for (auto* item = cache->buckets[bucket]; item != nullptr; item = item->hash_next) {
            if (item->props != nullptr && matches(*item->props)) {
                return item;
            }
        }
    }
    return nullptr;
}

using comparison = int (*)(const char*, const char*);

comparison comparison_of(bool case_sensitive) {
    return case_sensitive ? static_cast<comparison>(&strcmp) : static_cast<comparison>(&strcasecmp);
}

}  // namespace

index_iface::index_iface_item* index_iface::find_item_with_path(const index_iface_cache* cache,
                                                                const index_iface_browse_fields& fields,
                                                                index_iface_time_t real_before_time) const {
    if (fields.version_guid != nullptr) {
        return find_item_with_path_and_version(cache, fields.path, fields.version_guid);
    }
    return find_item_with_path_and_time(cache, fields, real_before_time);
}

// Without case sensitivity the version, too, is compared without it, unlike in the lookups by key.
index_iface::index_iface_item* index_iface::find_item_with_path_and_version(const index_iface_cache* cache,
                                                                            const char* path,
                                                                            const char* version_guid) const {
    const comparison compare = comparison_of(caseSensitiveSearch);
    return first_match(cache, num_buckets, [=](const index_iface_props& props) {
        return compare(props.path.c_str(), path) == 0 && compare(props.version_guid.c_str(), version_guid) == 0;
    });
}

index_iface::index_iface_item* index_iface::find_item_with_path_and_time(const index_iface_cache* cache,
                                                                         const index_iface_browse_fields& fields,
                                                                         index_iface_time_t real_before_time) const {
    const index_iface_time_t lower_bound = index_iface_sec_to_ns(fields.after_time);
    const comparison compare = comparison_of(caseSensitiveSearch);
    const char* path = fields.path;
    return first_match(cache, num_buckets, [=](const index_iface_props& props) {
        return compare(props.path.c_str(), path) == 0 && lower_bound <= props.vtime && props.vtime <= real_before_time;
    });
}

// Always with case, and any operation counts. "/" and a path that ends in "/" have no children here: the character
// behind the parent path would have to be a second "/".
int index_iface::find_child_with_path(const index_iface_cache* cache, const char* parent_path) const {
    const std::size_t length = strlen(parent_path);
    const index_iface_item* child = first_match(cache, num_buckets, [=](const index_iface_props& props) {
        const char* path = props.path.c_str();
        return strncmp(path, parent_path, length) == 0 && path[length] == '/' &&
               strchr(path + length + 1, '/') == nullptr;
    });
    return child != nullptr ? 0 : ENOENT;
}

// 0 is the answer yes.
int index_iface::find_child_in_cache_by_path(const char* parent_path) {
    const read_guard lock(*cl_lock);
    const bool found =
        find_child_with_path(cur_cache, parent_path) == 0 || find_child_with_path(old_cache, parent_path) == 0;
    return found ? 0 : 1;
}
