// The part of a request's target after the '?'.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace index_server {

/// name=value pairs joined by '&'. All values that the server takes are plain numbers and words, so nothing is decoded.
class query_text {
public:
    explicit query_text(std::string text) : text_(std::move(text)) {}

    /// The decimal number of that name; nothing when it is missing, twice there, malformed or out of bounds.
    std::optional<std::int64_t> number(std::string_view name, std::int64_t least, std::int64_t most) const;

    /// Whether the name is there at all.
    bool has(std::string_view name) const;

    /// The value of that name as it stands there; nothing when it is missing or twice there.
    std::optional<std::string> word(std::string_view name) const;

private:
    std::vector<std::string_view> values_of(std::string_view name) const;

    std::string text_;
};

}  // namespace index_server
