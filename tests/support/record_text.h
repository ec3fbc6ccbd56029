// Records, search requests and search answers as short texts, so that a test table is readable: "op=ADD object=o1
// path=/a vtime=5". Only set fields appear; custom properties are "custom.<key>=<value>"; values hold no blanks.
#pragma once

#include <string>
#include <vector>

#include "core/records.h"

/// The record of a text. A later field overrides an earlier one.
index_iface_props record_of(const std::string& text);
std::string text_of(const index_iface_props& props);

/// A record with all that every change needs, and `more` over it.
index_iface_props change_of(const std::string& object, const std::string& more = "");

/// The text of a search answer with these records in the places where the index server puts them: dtime is the
/// deletion time among the attributes, custom properties are the named properties.
std::string search_answer(const std::vector<std::string>& records);
std::string search_error(int code, const std::string& message);

/// A recorded search request, one line for the frame, one for each filter, one for each option.
std::string request_text(std::string request);
