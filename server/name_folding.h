// Names compared without case.
#pragma once

#include <string>
#include <string_view>

namespace index_server {

/// The name in the form in which two names that differ in case alone are equal (full Unicode case folding). A name that
/// is not valid UTF-8 is folded in its ASCII letters only.
std::string folded_name(std::string_view name);

}  // namespace index_server
