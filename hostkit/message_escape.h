// Escaping of strings in the text form of messages: any bytes become valid XML text and come back as they were.
#pragma once

#include <string>
#include <string_view>

namespace hostkit {

/// Appends `value` to `text`: a byte below 0x20, the byte 0x7F and every byte that is no part of a character that XML
/// allows as \xHH, a backslash as two, and & < > " ' as their entities.
void append_escaped(std::string& text, std::string_view value);

/// Undoes the backslash escapes, after a parser has resolved the entities, and appends the result to `value`. False
/// when a backslash is followed by something else than another one or xHH; `value` then holds what came before.
bool append_unescaped(std::string& value, std::string_view text);

}  // namespace hostkit
