// Each thread takes spare records by the handful, so that the changes of several threads seldom meet at the lock.
#include "cache/spare_records.h"

#include <array>
#include <memory>
#include <new>

#include "core/allocation.h"

namespace {

// A record whose texts hold more than this is an exception and gives its memory back.
constexpr std::size_t most_text_kept = 1024;

bool is_worth_keeping(const index_iface_props& record) {
    std::size_t text = 0;
    for (const std::string* part : {&record.name, &record.path, &record.version_guid, &record.object_guid,
                                    &record.parent_guid, &record.link_target, &record.xattr}) {
        text += part->capacity();
    }
    return text <= most_text_kept && record.custom_props.empty();
}

/// A thread's next few records, of whichever share, so that it takes the lock once for many.
struct records_at_hand {
    ~records_at_hand() {
        while (count > 0) {
            delete records[--count];
        }
    }

    /// Null when there is none. The next one is fetched from memory while the caller works on this one.
    index_iface_props* take() {
        if (count == 0) {
            return nullptr;
        }
        index_iface_props* taken = records[--count];
        if (count > 0) {
            const char* next = reinterpret_cast<const char*>(records[count - 1]);
            for (std::size_t offset = 0; offset < sizeof(index_iface_props); offset += cache_line) {
                __builtin_prefetch(next + offset, 1);
            }
        }
        return taken;
    }

    static constexpr std::size_t cache_line = 64;
    std::array<index_iface_props*, 16> records;
    std::size_t count = 0;
};

}  // namespace

spare_records::~spare_records() {
    for (const index_iface_props* record : spare_) {
        delete record;
    }
}

void spare_records::set_limit(std::size_t limit) {
    const std::lock_guard<std::mutex> lock(lock_);
    limit_ = limit;
}

index_iface_props* spare_records::copy(const index_iface_props& props) noexcept {
    static thread_local records_at_hand at_hand;
    if (at_hand.count == 0) {
        const std::lock_guard<std::mutex> lock(lock_);
        while (!spare_.empty() && at_hand.count < at_hand.records.size()) {
            at_hand.records[at_hand.count++] = spare_.back();
            spare_.pop_back();
        }
    }
    std::unique_ptr<index_iface_props> record(at_hand.take());
    if (!record) {
        return make_or_null<index_iface_props>(props);
    }
    try {
        *record = props;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return record.release();
}

void spare_records::keep(index_iface_props* record) noexcept {
    std::unique_ptr<index_iface_props> owned(record);
    if (!owned || !is_worth_keeping(*owned)) {
        return;
    }
    try {
        const std::lock_guard<std::mutex> lock(lock_);
        if (spare_.size() < limit_) {
            spare_.push_back(owned.get());
            static_cast<void>(owned.release());
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}
