// "LIST:NUMBER".
#include "server/place_text.h"

#include <charconv>
#include <stdexcept>
#include <string>

namespace index_server {

step_place place_text(const number_place& place) {
    return std::to_string(place.list) + ":" + std::to_string(place.after);
}

number_place read_place(const step_place& text, std::int64_t lists) {
    number_place place;
    if (text.empty()) return place;
    const char* const end = text.data() + text.size();
    const auto list = std::from_chars(text.data(), end, place.list);
    const bool is_list = list.ec == std::errc() && place.list >= 0 && place.list < lists;
    if (!is_list || list.ptr == end || *list.ptr != ':')
        throw std::invalid_argument("the place is none that a step told");
    const auto after = std::from_chars(list.ptr + 1, end, place.after);
    if (after.ec != std::errc() || after.ptr != end) throw std::invalid_argument("the place is none that a step told");
    return place;
}

}  // namespace index_server
