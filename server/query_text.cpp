// Reading of query texts.
#include "server/query_text.h"

#include <charconv>

namespace index_server {

std::optional<std::int64_t> query_text::number(std::string_view name, std::int64_t least, std::int64_t most) const {
    std::optional<std::int64_t> result;
    for (std::string_view rest = text_; !rest.empty();) {
        const std::size_t length = std::min(rest.find('&'), rest.size());
        const std::string_view pair = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (pair.size() <= name.size() || pair.substr(0, name.size()) != name || pair[name.size()] != '=') continue;
        const std::string_view digits = pair.substr(name.size() + 1);
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        const bool is_whole = error == std::errc() && end == digits.data() + digits.size();
        if (result || !is_whole || value < least || value > most) return std::nullopt;
        result = value;
    }
    return result;
}

}  // namespace index_server
