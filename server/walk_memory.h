// Where those stand who read a long listing page by page.
//
// A request names its page by an offset alone. Counted from the front for each page, a listing of n entries would cost
// n times n, and entries that come or go in between would move the others across the borders of the pages. So the place
// where a page ended is kept for a while, and the page that begins at the next offset goes on from there.
//
// W1  Whoever reads on from a place gets each entry once that was there all the time, whatever came or went meanwhile.
// W2  A place that is no longer known costs time and W1, and nothing else: the offset is then counted from the front.
// W3  Requests do not say who asks. Of several readers of one listing that wait for the same offset but stand at
//     different places, all go on from the first of these places: an entry may then come twice, none is left out.
#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "server/engine.h"
#include "server/search_query.h"

namespace index_server {

/// A listing in its order, as it was when it was first asked for. Never changes.
struct kept_listing {
    struct entry {
        std::int64_t version = 0;
        std::int64_t end_s = 0;
        std::uint32_t directory = 0;  ///< index in `directories`
    };
    std::vector<entry> entries;
    std::vector<std::optional<std::string>> directories;

    std::size_t bytes() const { return entries.capacity() * sizeof(entry); }
};

/// The last row that a reader got, in the order of the rows; or the number of entries it got of a kept listing.
struct walk_place {
    std::int64_t state = 0;
    std::int64_t vtime = 0;
    std::int64_t row = 0;

    // The check takes the zero that the compiler compares with for a pointer. NOLINTNEXTLINE(modernize-use-nullptr)
    auto operator<=>(const walk_place&) const = default;
};

/// One reader's way through a listing.
struct walk {
    /// What was read up to a place while the index held no newer row than that.
    struct stretch {
        walk_place end;
        std::int64_t newest = 0;
    };

    std::int64_t directory = 0;                     ///< row of the object whose children are read, where there is one
    std::shared_ptr<const kept_listing> listing{};  ///< what is read; null for a walk along an index
    walk_place place{};                             ///< where the page that is asked for begins
    std::vector<stretch> read{};                    ///< along an index, in its order

    std::size_t bytes() const { return (listing ? listing->bytes() : 0) + read.capacity() * sizeof(stretch); }
};

/// What tells one listing from another: the share and the request without its page and columns.
std::string listing_key(const share& target, const search_query& query);

/// Bounded and expiring: the walks that were left longest ago go first. Any thread.
class walk_memory {
public:
    struct bounds {
        std::size_t walks = 4096;
        std::size_t bytes = std::size_t{128} << 20;  ///< of all that walks and their listings' names keep
        std::chrono::milliseconds idle{120000};
    };

    walk_memory() = default;
    explicit walk_memory(bounds most) : most_(most) {}

    /// The walk whose next page begins at the offset; otherwise the one whose latest page did, because a client that
    /// got no answer asks again. Nothing when none is known. The walk leaves the memory with it.
    std::optional<walk> resume(const std::string& listing, std::int64_t offset);

    /// Remembers a walk that got the page at `offset` from `from` on and now stands before the page at `next_offset`.
    /// One that is too large by itself is not kept.
    void keep(const std::string& listing, const walk& left, std::int64_t next_offset, std::int64_t offset,
              const walk_place& from);

    /// Forgets all walks through the listing.
    void forget(const std::string& listing);

private:
    struct record {
        std::string listing;
        walk left;
        std::int64_t next_offset = 0;
        std::int64_t offset = 0;  ///< of the latest page
        walk_place from;          ///< where that one began
        std::chrono::steady_clock::time_point when;

        /// With the name of the listing here and in the index: a path can be as long as a request.
        std::size_t bytes() const { return left.bytes() + 2 * listing.size(); }
    };
    using records = std::list<record>;

    void drop(records::iterator which);
    void drop_beyond_bounds();

    const bounds most_{};
    std::mutex mutex_;  // guards what follows; a leaf
    records records_;   // the latest in front
    std::unordered_multimap<std::string, records::iterator> by_listing_;
    std::size_t bytes_ = 0;
};

}  // namespace index_server
