// Keeps texts alive together and lets go of them together.
#pragma once

#include <cstring>
#include <memory_resource>
#include <string_view>

namespace index_server {

/// Used by one thread. Texts stay where they are until `clear` or the end.
class text_arena {
public:
    /// A copy of the text that lives as long as the arena.
    std::string_view keep(std::string_view text) {
        if (text.empty()) return {};
        auto* copy = static_cast<char*>(memory_.allocate(text.size(), 1));
        std::memcpy(copy, text.data(), text.size());
        return {copy, text.size()};
    }

    void clear() { memory_.release(); }

    /// For containers that go before the arena does.
    std::pmr::memory_resource* memory() { return &memory_; }

private:
    static constexpr std::size_t first_block_bytes = std::size_t{64} << 10;
    std::pmr::monotonic_buffer_resource memory_{first_block_bytes};
};

}  // namespace index_server
