// Records of delivered changes, kept for the next ones: a record that is filled again brings the memory of its texts
// along, so that a share in steady work copies what its caller reports without asking for memory.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

#include "core/records.h"

/// Any thread may call any operation.
class spare_records {
public:
    spare_records() = default;
    ~spare_records();
    spare_records(const spare_records&) = delete;
    spare_records& operator=(const spare_records&) = delete;

    /// The most records that are kept.
    void set_limit(std::size_t limit);

    /// A copy of `props`, the caller's to delete or to keep here; null without memory.
    index_iface_props* copy(const index_iface_props& props) noexcept;

    /// Takes over a record that nobody reads any more. Null does nothing.
    void keep(index_iface_props* record) noexcept;

private:
    std::mutex lock_;  // guards what follows; nothing is copied or deleted under it
    std::vector<index_iface_props*> spare_;
    std::size_t limit_ = 0;
};
