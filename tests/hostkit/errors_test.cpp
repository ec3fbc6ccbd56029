// What an error keeps, also when memory is missing.
#include "hostkit/errors.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/fault_plan.h"

namespace {

// Every allocation in turn is the one that fails; the error stays the error it was.
TEST(errors, survive_missing_memory_with_number_and_code) {
    for (int nth = 1; nth <= 8; ++nth) {
        CXoError copy, system;
        scripted::fail_memory(nth, true);
        {
            CXoError service = hostkit::make_service_error(0xFFFFFFFFU, 3, "");
            service.Push(FX_CODE_LOCATION, "%s", "a text that is too long for the space inside a string object");
            copy = service;
            system = FXErrorUtil::ErrorErrNo(ENOSPC, "a text that is too long for the space inside a string object");
        }
        scripted::fail_memory(0);
        EXPECT_TRUE(FXErrorUtil::IsZYResult(copy, 0xFFFFFFFFU)) << nth;
        EXPECT_EQ(FXErrorUtil::GetErrNo(copy), 3) << nth;
        EXPECT_EQ(FXErrorUtil::GetErrNo(system), ENOSPC) << nth;
        EXPECT_NE(system.AsString(), "") << nth;
    }
}

}  // namespace
