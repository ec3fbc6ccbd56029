// Arrays as parameters of PostgreSQL's statements: many keys in one round trip.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace index_server {

/// An array in the binary form of the protocol, to be bound as a text.
class postgresql_array {
public:
    enum class element { bigint, bytea };

    explicit postgresql_array(element type);

    /// For an array of bigint.
    void add(std::int64_t value);
    /// For an array of bytea.
    void add(std::string_view text);
    void clear();

    /// Valid until the next change; not for an array without elements.
    std::string_view bytes();

private:
    const element type_;
    std::uint32_t count_ = 0;
    std::string bytes_;
};

}  // namespace index_server
