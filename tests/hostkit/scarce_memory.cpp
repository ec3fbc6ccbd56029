// The test program's own operator new and delete, with a count-down for one thread.
#include "tests/hostkit/scarce_memory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int allocations_left = -1;  // below 0: no limit

}  // namespace

scarce_memory::scarce_memory(int allowed) {
    allocations_left = allowed;
}
scarce_memory::~scarce_memory() {
    allocations_left = -1;
}

void* operator new(std::size_t size) {
    if (allocations_left == 0) throw std::bad_alloc();
    if (allocations_left > 0) --allocations_left;
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
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
