// How replay puts a rebuilt record into a cache. The rules are not those of the live changes: a rename is sticky, an
// add or a delete is inserted without a lookup, and parent and rename caches are left alone.
#include <memory>
#include <utility>

#include "cache/cache_helper.h"
#include "core/log_line.h"

index_iface_cache_helper::index_iface_cache_helper(index_iface* owner_in, index_iface::index_iface_cache* cache_in)
    : owner(owner_in), cache(cache_in) {}

index_iface_cache_helper::~index_iface_cache_helper() {
    if (armed && inserted) {
        owner->rm_item_from_cache(cache, props->object_guid.c_str(), props);
    }
}

int index_iface_cache_helper::insert(index_iface_props* new_props) {
    props = new_props;
    IIF_LOG(7, "INDEX_IFACE: inserting into cache [%p].", static_cast<void*>(cache));
    const int ret = owner->insert_to_cache(cache, props->object_guid.c_str(), props);
    if (ret != 0) {
        return ret;
    }
    inserted = true;
    return 0;
}

// thread: start-up only
int index_iface::insert_props_to_cache(index_iface_cache* cache, index_iface_props&& props) {
    index_iface_cache_helper helper(this, cache);
    std::unique_ptr<index_iface_props> new_props;
    bool insert = props.idx_ops == index_iface_props::DEL || props.idx_ops == index_iface_props::ADD;
    if (props.idx_ops == index_iface_props::UPD || props.idx_ops == index_iface_props::REN) {
        const index_iface_item* found =
            find_item_with_key_and_version(cache, props.object_guid.c_str(), -1, props.version_guid.c_str());
        if (found != nullptr) {
            const bool rename =
                props.idx_ops == index_iface_props::REN || found->props->idx_ops == index_iface_props::REN;
            copy_valid_props(props, *found->props);
            if (rename) {
                found->props->idx_ops = index_iface_props::REN;
            }
        } else {
            IIF_LOG(5, "no item");
            insert = true;
        }
    }
    if (insert) {
        new_props = std::make_unique<index_iface_props>(std::move(props));
        if (const int ret = helper.insert(new_props.get()); ret != 0) {
            return ret;
        }
    }
    static_cast<void>(new_props.release());  // the item owns it
    helper.finalize();
    return 0;
}
