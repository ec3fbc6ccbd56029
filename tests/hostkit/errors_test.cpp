// What an error keeps, also when memory is missing. The program's own operator new counts one thread's allocations
// down.
#include "hostkit/errors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

thread_local int allocations_left = -1;  // below 0: no limit

}  // namespace

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

namespace {

TEST(errors, carry_number_code_text_and_the_places_they_passed) {
    CXoError error = FXErrorUtil::ErrorErrNo(ENOENT, "open /a");
    error.Push(FX_CODE_LOCATION, "while reading %s", "journals");
    EXPECT_EQ(FXErrorUtil::GetErrNo(error), ENOENT);
    EXPECT_EQ(error.AsString(), "open /a: No such file or directory");
    const std::string full = error.AsString(EErrorOutputFormat::Full);
    EXPECT_NE(full.find("errors_test.cpp"), std::string::npos);
    EXPECT_NE(full.find("while reading journals"), std::string::npos);
    EXPECT_FALSE(FXErrorUtil::IsZYResult(error, 0));
    EXPECT_NE(FXErrorUtil::GetErrNo(FXErrorUtil::ErrorErrNo(0)), 0);
    EXPECT_NE(FXErrorUtil::GetErrNo(hostkit::make_service_error(7, 0, "")), 0);
}

// Every allocation in turn is the one that fails; the error stays the error it was.
TEST(errors, survive_missing_memory_with_number_and_code) {
    for (int allowed = 0; allowed < 8; ++allowed) {
        CXoError copy, system;
        allocations_left = allowed;
        {
            CXoError service = hostkit::make_service_error(0xFFFFFFFFU, 3, "");
            service.Push(FX_CODE_LOCATION, "%s", "a text that is too long for the space inside a string object");
            copy = service;
            system = FXErrorUtil::ErrorErrNo(ENOSPC, "a text that is too long for the space inside a string object");
        }
        allocations_left = -1;
        EXPECT_TRUE(FXErrorUtil::IsZYResult(copy, 0xFFFFFFFFU)) << allowed;
        EXPECT_EQ(FXErrorUtil::GetErrNo(copy), 3) << allowed;
        EXPECT_EQ(FXErrorUtil::GetErrNo(system), ENOSPC) << allowed;
        EXPECT_NE(system.AsString(), "") << allowed;
    }
}

}  // namespace
