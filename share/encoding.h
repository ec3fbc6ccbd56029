// Percent-encoding of texts at the border to the index: what the entry lines cannot carry goes in as %XX, so that no
// name on disk can forge an entry, and comes back byte for byte.
#pragma once

#include <string>
#include <string_view>

namespace share_host {

/// Encodes '|', '<', '>', '%', the control bytes 0x00 to 0x1F and 0x7F, and each byte that is no part of valid UTF-8.
/// Any byte string goes in; the result is valid UTF-8 and different texts stay different. '/' is left alone, so it
/// works on names and on whole paths.
std::string encode_text(std::string_view text);

/// The inverse of the three encoders but for an empty custom value. A '%' without two hex digits stands for itself.
std::string decode_text(std::string_view text);

/// For keys of custom properties: ':' is encoded too.
std::string encode_custom_key(std::string_view key);

/// For values of custom properties: ':' is encoded too, and an empty value becomes a lone "%".
std::string encode_custom_value(std::string_view value);
std::string decode_custom_value(std::string_view value);

/// True for a text that entry lines carry unharmed: none of '|', '<', '>', no control byte.
bool is_line_safe(std::string_view text);

/// Replaces the bytes that are no part of valid UTF-8 by %XX and leaves the rest, for output that has to be UTF-8.
std::string to_valid_utf8(std::string_view text);

}  // namespace share_host
