// Bounds of the text form of messages. The operations themselves are CNMessageBase::serialize and
// CNMessageBase::unserialize; docs/wire-format.md describes the form.
#pragma once

#include <cstddef>

namespace hostkit::message_text_limits {

inline constexpr std::size_t bytes = 256u << 20;       ///< of a whole text
inline constexpr std::size_t elements = 1'000'000;     ///< in one text
inline constexpr std::size_t attributes = 16'000'000;  ///< in one text; each equals sign counts as one

}  // namespace hostkit::message_text_limits
