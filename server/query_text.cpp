// Reading of query texts.
#include "server/query_text.h"

#include <algorithm>
#include <charconv>

namespace index_server {

std::vector<std::string_view> query_text::values_of(std::string_view name) const {
    std::vector<std::string_view> values;
    for (std::string_view rest = text_; !rest.empty();) {
        const std::size_t length = std::min(rest.find('&'), rest.size());
        const std::string_view pair = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (pair.size() > name.size() && pair.substr(0, name.size()) == name && pair[name.size()] == '=')
            values.push_back(pair.substr(name.size() + 1));
    }
    return values;
}

bool query_text::has(std::string_view name) const {
    return !values_of(name).empty();
}

std::optional<std::string> query_text::word(std::string_view name) const {
    const std::vector<std::string_view> values = values_of(name);
    return values.size() == 1 ? std::optional<std::string>(values.front()) : std::nullopt;
}

std::optional<std::int64_t> query_text::number(std::string_view name, std::int64_t least, std::int64_t most) const {
    const std::optional<std::string> digits = word(name);
    if (!digits) return std::nullopt;
    const char* const last = digits->data() + digits->size();
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits->data(), last, value);
    if (error != std::errc() || end != last || value < least || value > most) return std::nullopt;
    return value;
}

}  // namespace index_server
