// Probing of the storage.
#include "server/storage_health.h"

#include <exception>

#include "hostkit/log.h"

namespace index_server {

namespace {

constexpr std::chrono::seconds good_for{1};
/// A storage that takes longer to answer is not well, whatever it will say.
constexpr std::chrono::seconds longest_answer{5};

}  // namespace

std::optional<bool> storage_health::recent() {
    const std::lock_guard lock(mutex_);
    return known();
}

std::optional<bool> storage_health::known() const {
    if (!asked_) return std::nullopt;
    const clock::duration age = clock::now() - *asked_;
    if (is_asking_) return is_well_ && age < longest_answer;
    return age < good_for ? std::optional(is_well_) : std::nullopt;
}

bool storage_health::ask() {
    {
        const std::lock_guard lock(mutex_);
        if (const std::optional<bool> told = known()) return *told;
        is_asking_ = true;
        asked_ = clock::now();
    }
    const bool is_well = probe();
    const std::lock_guard lock(mutex_);
    is_asking_ = false;
    is_well_ = is_well;
    return is_well;
}

bool storage_health::probe() {
    try {
        storage_.share_of_subclient(0);
        return true;
    } catch (const std::exception& failure) {
        HOSTKIT_LOG(-1, "index server: the storage cannot be reached: %s", failure.what());
        return false;
    }
}

}  // namespace index_server
