// Guards one insertion of replay: unless it is finalized, the insertion is taken back when the guard goes.
#pragma once

#include "core/index_iface.h"

class IIF_API index_iface_cache_helper {
public:
    index_iface_cache_helper(index_iface* owner, index_iface::index_iface_cache* cache);
    ~index_iface_cache_helper();
    index_iface_cache_helper(const index_iface_cache_helper&) = delete;
    index_iface_cache_helper& operator=(const index_iface_cache_helper&) = delete;

    /// Inserts the record under its object_guid. Returns 0, or the value of the failed insertion.
    int insert(index_iface_props* new_props);

    /// The insertion stays.
    void finalize() { armed = false; }

private:
    index_iface* owner;
    index_iface::index_iface_cache* cache;
    index_iface_props* props = nullptr;
    bool armed = true;
    bool inserted = false;
};
