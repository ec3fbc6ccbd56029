// Errors that do not come from a system call: results of the services that this process talks to.
#pragma once

#include <string>

#include "host/errors.h"

namespace hostkit {

/// An error that carries the service's result `code`, which FXErrorUtil::IsZYResult tests for, and `error_number`,
/// which FXErrorUtil::GetErrNo gives. An `error_number` of 0 or below becomes EIO, so that no error reads as success.
/// Never throws; without memory the text is lost.
CXoError make_service_error(unsigned code, int error_number, const std::string& text) noexcept;

}  // namespace hostkit
