// What an error keeps, also when memory is missing.
#include "hostkit/errors.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/fault_plan.h"

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
