// What an error keeps, through copies, assignments and missing memory.
#include "hostkit/errors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

#include "tests/hostkit/scarce_memory.h"

namespace {

TEST(errors, carry_number_code_text_and_the_places_they_passed) {
    CXoError error = FXErrorUtil::ErrorErrNo(ENOENT, "open /a");
    error.Push(FX_CODE_LOCATION, "while reading %s", "journals");
    EXPECT_TRUE(error.IsError());
    EXPECT_EQ(FXErrorUtil::GetErrNo(error), ENOENT);
    EXPECT_EQ(error.AsString(), "open /a: No such file or directory");
    const std::string full = error.AsString(EErrorOutputFormat::Full);
    EXPECT_NE(full.find("errors_test.cpp"), std::string::npos);
    EXPECT_NE(full.find("while reading journals"), std::string::npos);

    const CXoError service = hostkit::make_service_error(3021, EBUSY, "still open");
    EXPECT_TRUE(FXErrorUtil::IsZYResult(service, 3021));
    EXPECT_FALSE(FXErrorUtil::IsZYResult(service, 3022));
    EXPECT_FALSE(FXErrorUtil::IsZYResult(error, 0));
    EXPECT_EQ(FXErrorUtil::GetErrNo(service), EBUSY);
    EXPECT_EQ(service.AsString(), "still open");
}

TEST(errors, never_carry_the_number_of_success) {
    EXPECT_EQ(FXErrorUtil::GetErrNo(CXoError::Success()), 0);
    EXPECT_EQ(CXoError::Success().AsString(), "Success");
    EXPECT_NE(FXErrorUtil::GetErrNo(FXErrorUtil::ErrorErrNo(0)), 0);
    EXPECT_NE(FXErrorUtil::GetErrNo(hostkit::make_service_error(7, 0, "")), 0);
    EXPECT_NE(FXErrorUtil::GetErrNo(hostkit::make_service_error(7, -5, "")), 0);
}

TEST(errors, are_values) {
    CXoError first = FXErrorUtil::ErrorErrNo(EACCES);
    CXoError second = first;
    second.Push(FX_CODE_LOCATION);
    EXPECT_NE(first.AsString(EErrorOutputFormat::Full), second.AsString(EErrorOutputFormat::Full));
    CXoError& alias = second;
    second = alias;
    EXPECT_EQ(FXErrorUtil::GetErrNo(second), EACCES);
    const CXoError third = std::move(second);
    EXPECT_EQ(FXErrorUtil::GetErrNo(third), EACCES);
    first = CXoError::Success();
    EXPECT_FALSE(first.IsError());
}

// Every allocation in turn is the one that fails; the error stays the error it was.
TEST(errors, survive_missing_memory_with_number_and_code) {
    for (int allowed = 0; allowed < 8; ++allowed) {
        CXoError copy;
        CXoError system;
        {
            const scarce_memory scarce(allowed);
            CXoError service = hostkit::make_service_error(0xFFFFFFFFU, 3, "");
            service.Push(FX_CODE_LOCATION, "%s", "a text that is too long for the space inside a string object");
            copy = service;
            system = FXErrorUtil::ErrorErrNo(ENOSPC, "a text that is too long for the space inside a string object");
        }
        EXPECT_TRUE(FXErrorUtil::IsZYResult(copy, 0xFFFFFFFFU)) << allowed;
        EXPECT_EQ(FXErrorUtil::GetErrNo(copy), 3) << allowed;
        EXPECT_EQ(FXErrorUtil::GetErrNo(system), ENOSPC) << allowed;
        EXPECT_NE(system.AsString(), "") << allowed;
    }
}

}  // namespace
