// The plan for calls, and the three services of which only single calls are taken from the linked host.
#include "tests/support/fault_plan.h"

#include <mutex>

#include "cache/mem_cache.h"
#include "host/files.h"

namespace {

struct call_plan {
    std::mutex lock;
    int left = 0;
    scripted::fault_mode mode;
    std::vector<std::string> calls;
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
    plan().calls.clear();
    plan().failed.clear();
}

std::vector<std::string> host_calls() {
    const std::lock_guard guard(plan().lock);
    return plan().calls;
}

std::vector<std::string> failed_calls() {
    const std::lock_guard guard(plan().lock);
    return plan().failed;
}

bool refuses(const std::string& call) {
    const own_memory mine;
    const std::lock_guard guard(plan().lock);
    plan().calls.push_back(call);
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

// The linker sends the calls of these three here (see tests/CMakeLists.txt).
CXoError real_create_directory(const char* path, bool parents) asm("__real__ZN12CXoDirectory6CreateEPKcb");
CXoError create_directory(const char* path, bool parents) asm("__wrap__ZN12CXoDirectory6CreateEPKcb");
CXoError create_directory(const char* path, bool parents) {
    if (scripted::refuses("directory")) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    return real_create_directory(path, parents);
}

#define KEYED_CACHE_UPDATE "_Z30generic_cache_update_with_key1P13generic_cachePKciP21generic_cache_element"
int real_update(generic_cache*, const char*, int, generic_cache_element*) asm("__real_" KEYED_CACHE_UPDATE);
int update_keyed_cache(generic_cache*, const char*, int, generic_cache_element*) asm("__wrap_" KEYED_CACHE_UPDATE);
int update_keyed_cache(generic_cache* cache, const char* key, int length, generic_cache_element* element) {
    return scripted::refuses("remember") ? scripted::refused_errno : real_update(cache, key, length, element);
}

#define KEYED_CACHE_INIT "_Z24generic_cache_init_cacheiiPFvP21generic_cache_elementEPFiPKciES6_bb"
generic_cache* real_init(int, int, generic_cache_callback, generic_cache_hash, generic_cache_hash, bool,
                         bool) asm("__real_" KEYED_CACHE_INIT);
generic_cache* init_keyed_cache(int, int, generic_cache_callback, generic_cache_hash, generic_cache_hash, bool,
                                bool) asm("__wrap_" KEYED_CACHE_INIT);
generic_cache* init_keyed_cache(int capacity, int num_buckets, generic_cache_callback on_delete,
                                generic_cache_hash hash1, generic_cache_hash hash2, bool case1, bool case2) {
    if (scripted::refuses("keyed cache")) return nullptr;
    return real_init(capacity, num_buckets, on_delete, hash1, hash2, case1, case2);
}
