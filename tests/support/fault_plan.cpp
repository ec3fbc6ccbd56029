// The plan for calls, and the two of the keyed cache that can fail.
#include "tests/support/fault_plan.h"

#include <mutex>

#include "cache/mem_cache.h"

namespace {

struct call_plan {
    std::mutex lock;
    int left = 0;
    scripted::fault_mode mode;
    std::vector<std::string> failed;
};

call_plan& plan() {
    static call_plan& the_plan = *new call_plan;
    return the_plan;
}

}  // namespace

namespace scripted {

void fail_call(int nth, fault_mode mode) {
    const std::lock_guard guard(plan().lock);
    plan().left = nth;
    plan().mode = mode;
    plan().failed.clear();
}

std::vector<std::string> failed_calls() {
    const std::lock_guard guard(plan().lock);
    return plan().failed;
}

bool refuses(const std::string& call) {
    const own_memory mine;
    const std::lock_guard guard(plan().lock);
    const bool now = plan().left > 0 && --plan().left == 0;
    const bool refused = now || (plan().mode.for_good && !plan().failed.empty());
    if (refused) plan().failed.push_back(call);
    return refused;
}

bool cuts_writes() {
    const std::lock_guard guard(plan().lock);
    return plan().mode.cut;
}

}  // namespace scripted

SCRIPTED_CALL(int, update_keyed_cache, "_Z30generic_cache_update_with_key1P13generic_cachePKciP21generic_cache_element",
              generic_cache* cache, const char* key, int length, generic_cache_element* element) {
    return scripted::refuses("remember") ? scripted::refused_errno
                                         : real_update_keyed_cache(cache, key, length, element);
}

SCRIPTED_CALL(generic_cache*, init_keyed_cache,
              "_Z24generic_cache_init_cacheiiPFvP21generic_cache_elementEPFiPKciES6_bb", int capacity, int num_buckets,
              generic_cache_callback on_delete, generic_cache_hash hash1, generic_cache_hash hash2, bool case1,
              bool case2) {
    if (scripted::refuses("keyed cache")) return nullptr;
    return real_init_keyed_cache(capacity, num_buckets, on_delete, hash1, hash2, case1, case2);
}
