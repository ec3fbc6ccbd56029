// A store for the many small objects that a cache makes one by one and drops all at once.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

/// Hands out objects that stay at their address until the store is cleared. Blocks are kept for the next filling, so
/// that a cache that is filled and emptied again and again does not allocate. Not thread-safe.
template <class T>
class block_store {
public:
    static_assert(std::is_trivially_destructible_v<T>, "clear() destroys nothing");

    /// A new object, or null without memory.
    T* make() noexcept {
        try {
            if (used_ == blocks_.size() * block_size) {
                std::unique_ptr<block> fresh(new (std::nothrow) block);
                if (!fresh) {
                    return nullptr;
                }
                blocks_.push_back(std::move(fresh));
            }
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
        T* made = blocks_[used_ / block_size]->objects + used_ % block_size;
        ++used_;
        return new (made) T;
    }

    /// Takes back the object that was made last.
    void unmake_last() noexcept { --used_; }

    /// Drops all objects, and the memory beyond that of `keep` of them.
    void clear(std::size_t keep) noexcept {
        used_ = 0;
        const std::size_t kept_blocks = (keep + block_size - 1) / block_size;
        if (blocks_.size() > kept_blocks) {
            blocks_.resize(kept_blocks);
        }
    }

private:
    static constexpr std::size_t block_size = 128;
    struct block {
        T objects[block_size];
    };

    std::vector<std::unique_ptr<block>> blocks_;
    std::size_t used_ = 0;
};
