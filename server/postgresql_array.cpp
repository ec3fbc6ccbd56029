// The binary form: the number of dimensions, whether there are nulls, the type of the elements, for the one dimension
// its size and its first index, then each element behind its length; all numbers in the order of the network.
#include "server/postgresql_array.h"

namespace index_server {

namespace {

// Types of elements, by their fixed numbers in every server.
constexpr std::uint32_t int8_type = 20;
constexpr std::uint32_t bytea_type = 17;
constexpr std::size_t head_bytes = 20;

void put(std::string& to, std::uint64_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        to += static_cast<char>(value >> shift & 0xFF);
}

}  // namespace

postgresql_array::postgresql_array(element type) : type_(type), bytes_(head_bytes, '\0') {}

void postgresql_array::add(std::int64_t value) {
    put(bytes_, sizeof value, 4);
    put(bytes_, static_cast<std::uint64_t>(value), 8);
    ++count_;
}

void postgresql_array::add(std::string_view text) {
    put(bytes_, text.size(), 4);
    bytes_ += text;
    ++count_;
}

void postgresql_array::clear() {
    bytes_.resize(head_bytes);
    count_ = 0;
}

std::string_view postgresql_array::bytes() {
    std::string head;
    put(head, 1, 4);
    put(head, 0, 4);
    put(head, type_ == element::bigint ? int8_type : bytea_type, 4);
    put(head, count_, 4);
    put(head, 1, 4);
    return bytes_.replace(0, head_bytes, head);
}

}  // namespace index_server
