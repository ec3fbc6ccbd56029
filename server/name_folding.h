// Names compared without case.
#pragma once

#include <string>
#include <string_view>

namespace index_server {

/// The name in the form in which two names that differ in case alone are equal (full Unicode case folding). A name that
/// is not valid UTF-8 is folded in its ASCII letters only.
std::string folded_name(std::string_view name);

/// What a folded name is looked up by: as much of it as fits into an index of every engine, and more than the names of
/// any file system need. Those that share a key are told apart by their names.
inline std::string_view name_key(std::string_view folded) {
    constexpr std::size_t most_bytes = 1024;
    return folded.substr(0, most_bytes);
}

}  // namespace index_server
