// What somebody would take instead of the library's journal and caches: an embedded store, told not to sync, as the
// library's journal is not synced either. Key is the object's GUID, value its journal line.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "bench/subject.h"

namespace bench {

/// One embedded store. Keys and values are copied. Throws check_failed when an operation fails.
class store {
public:
    virtual ~store() = default;
    virtual void put(const std::string& key, const std::string& value) = 0;
    /// The value under the key, empty when there is none.
    virtual void get(const std::string& key, std::string& value) = 0;
};

/// Opens the store in `directory`, made when it is not there; what its log holds is recovered before this returns. All
/// that a batch writes fits in memory.
using open_store = std::unique_ptr<store> (*)(const std::string& directory);

std::unique_ptr<store> open_leveldb(const std::string& directory);
std::unique_ptr<store> open_rocksdb(const std::string& directory);
/// Each put is a transaction of its own.
std::unique_ptr<store> open_sqlite(const std::string& directory);

subject_ptr peer_put(open_store open, const std::string& place, std::size_t batch);
/// Every put replaces a value that is there.
subject_ptr peer_replace(open_store open, const std::string& place, std::size_t batch);
subject_ptr peer_get(open_store open, const std::string& place, std::size_t batch);
/// The opening of a store that was left with the whole batch in its log.
subject_ptr peer_recover(open_store open, const std::string& place, std::size_t batch);

}  // namespace bench
