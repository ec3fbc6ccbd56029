// Extended attributes as one text.
#pragma once

#include <string>
#include <string_view>

namespace share_host {

/// Most bytes that the text has; attributes that do not fit any more are left out.
constexpr std::size_t xattr_text_limit = std::size_t{32} << 10;

/// The "user." attributes of the object that `fd` (O_PATH will do) is open on, in the order of their names:
/// "name=value;" each, name and value percent-encoded, '=' and ';' too. Empty when there are none or they cannot be
/// read.
std::string read_xattr_text(int fd);

/// Stands for "no attributes any more" in a change, for an empty text would leave the former ones in the index.
constexpr std::string_view no_xattr_text = ";";

/// Equal attributes, however "none" is written.
bool same_xattr(std::string_view one, std::string_view other);

}  // namespace share_host
