// Memory that runs out on demand: the allocations of C++ and calloc, counted by thread.
#include <cstdlib>
#include <new>

#include "tests/support/fault_plan.h"

namespace {

thread_local int allocations_left = 0;
thread_local bool stays_empty = false;
thread_local bool has_failed = false;
thread_local int own_depth = 0;

bool runs_out() {
    if (own_depth > 0) return false;
    if (allocations_left > 0 && --allocations_left == 0) {
        has_failed = true;
        return true;
    }
    return has_failed && stays_empty;
}

}  // namespace

namespace scripted {

void fail_memory(int nth, bool for_good) {
    allocations_left = nth;
    stays_empty = for_good;
    has_failed = false;
}

bool allocation_failed() {
    return has_failed;
}

own_memory::own_memory() {
    ++own_depth;
}

own_memory::~own_memory() {
    --own_depth;
}

}  // namespace scripted

void* operator new(std::size_t size) {
    void* memory = runs_out() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return runs_out() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

extern "C" void* __real_calloc(std::size_t count, std::size_t size);  // NOLINT: the linker's names
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
    return runs_out() ? nullptr : __real_calloc(count, size);
}
