// The memory of renames, from the old path to the new one, for the time until the rename has been delivered. Until then
// the index still answers for the old path, and no record in the item caches can contradict it.
//
// N1  An entry comes with its rename, rotates with the batch and goes with the batch's delivery.
// N2  It goes earlier when the object moves on, or when what stands at the new path is deleted. Chains are not
//     followed: after A to B and B to C only B is remembered.
// N3  An add at the old path does not end it, and replay does not bring it back.
#include <cerrno>
#include <memory>

#include "cache/index_iface_rename.h"
#include "cache/mem_cache.h"
#include "core/index_iface.h"
#include "core/lock_guards.h"
#include "core/log_line.h"
#include "core/time_units.h"

namespace {

constexpr std::uint32_t bytes_per_rename = 1408;
constexpr int expected_buckets = 704;
constexpr std::int32_t element_size = 8;

int length_of(const std::string& text) {
    return static_cast<int>(text.size());
}

/// Gives an element and its payload back to the heap.
void index_iface_rename_callback(generic_cache_element* element) {
    IIF_LOG(7, "INDEX_IFACE: deleting elem [%p].", static_cast<void*>(element));
    delete static_cast<index_iface_renamed_item*>(element->data);
    delete element;
}

std::unique_ptr<index_iface_renamed_item> make_payload(const index_iface_props& props, const std::string& old_path) {
    auto renamed = std::make_unique<index_iface_renamed_item>();
    renamed->old_path = old_path;
    renamed->path = props.path;
    renamed->object_guid = props.object_guid;
    renamed->version_guid = props.version_guid;
    renamed->parent_guid = props.parent_guid;
    renamed->mode_valid = props.mode_valid;
    renamed->mode = props.mode;
    renamed->ctime = props.ctime;
    renamed->dtime = props.dtime;
    renamed->vtime = props.vtime;
    return renamed;
}

/// The rename of the path in one cache, when it lies strictly before the asked moment; null otherwise.
const index_iface_renamed_item* find_rename(generic_cache* cache, const index_iface_browse_fields& fields, int length) {
    generic_cache_dump_cache(cache);
    const generic_cache_element* element = generic_cache_find_element_with_key1(cache, fields.path, length);
    if (element == nullptr) {
        return nullptr;
    }
    const auto* renamed = static_cast<const index_iface_renamed_item*>(element->data);
    return index_iface_sec_to_ns(renamed->ctime) < fields.real_before_time ? renamed : nullptr;
}

}  // namespace

int index_iface::init_rename_cache() {
    const auto capacity = static_cast<int>(flush_after_count * bytes_per_rename);
    cur_ren_cache = generic_cache_init_cache(capacity, expected_buckets, &index_iface_rename_callback, nullptr, nullptr,
                                             caseSensitiveSearch, caseSensitiveSearch);
    old_ren_cache = generic_cache_init_cache(capacity, expected_buckets, &index_iface_rename_callback, nullptr, nullptr,
                                             caseSensitiveSearch, caseSensitiveSearch);
    IIF_LOG(7, "INDEX_IFACE: cur_ren_cache [%p], old_ren_cache [%p].", static_cast<void*>(cur_ren_cache),
            static_cast<void*>(old_ren_cache));
    return cur_ren_cache == nullptr || old_ren_cache == nullptr ? 1 : 0;
}

// What is remembered comes from the argument and not from the merged record. Throws std::bad_alloc.
// locks: cl_lock held for writing
int index_iface::add_to_rename_cache(const index_iface_props& props, const std::string& old_path) {
    std::unique_ptr<index_iface_renamed_item> renamed = make_payload(props, old_path);
    auto element = std::make_unique<generic_cache_element>();
    IIF_LOG(7, "INDEX_IFACE: renamed_item [%p], elem [%p].", static_cast<void*>(renamed.get()),
            static_cast<void*>(element.get()));
    generic_cache_dump_cache(cur_ren_cache);
    generic_cache_delete_with_key2(cur_ren_cache, old_path.c_str(), length_of(old_path));
    generic_cache_dump_cache(old_ren_cache);
    generic_cache_delete_with_key2(old_ren_cache, old_path.c_str(), length_of(old_path));

    element->key1 = renamed->old_path.c_str();
    element->key2 = renamed->path.c_str();
    element->key1_len = length_of(renamed->old_path);
    element->key2_len = length_of(renamed->path);
    element->data = renamed.get();
    element->size = element_size;
    const int ret = generic_cache_update_with_key1(cur_ren_cache, old_path.c_str(), length_of(old_path), element.get());
    if (ret != 0) {
        return ret;
    }
    static_cast<void>(element.release());  // the cache's callback gives both back
    static_cast<void>(renamed.release());
    IIF_LOG(7, "INDEX_IFACE: added old_path [%s] -> path [%s].", old_path.c_str(), props.path.c_str());
    return 0;
}

// locks: cl_lock held for writing
int index_iface::delete_from_rename_cache(const index_iface_props& props) {
    generic_cache_delete_with_key2(cur_ren_cache, props.path.c_str(), length_of(props.path));
    return generic_cache_delete_with_key2(old_ren_cache, props.path.c_str(), length_of(props.path));
}

// 0 is the answer yes. The field `real_before_time` alone decides: `before_time` has no say, so a query about the past
// may find the path renamed as well.
int index_iface::was_path_renamed(const index_iface_browse_fields& fields) {
    const int length = static_cast<int>(std::char_traits<char>::length(fields.path));
    const read_guard lock(*cl_lock);
    if (const auto* renamed = find_rename(cur_ren_cache, fields, length)) {
        IIF_LOG(7,
                "INDEX_IFACE: found renamed path [%s] -> [%s] in cur_ren_cache, ctime [%ld], real_before_time [%lld].",
                renamed->old_path.c_str(), renamed->path.c_str(), renamed->ctime, fields.real_before_time);
        return 0;
    }
    if (const auto* renamed = find_rename(old_ren_cache, fields, length)) {
        IIF_LOG(7,
                "INDEX_IFACE: found renamed path [%s] -> [%s] in old_ren_cache, ctime [%ld], real_before_time [%lld].",
                renamed->old_path.c_str(), renamed->path.c_str(), renamed->ctime, fields.real_before_time);
        return 0;
    }
    return 1;
}
