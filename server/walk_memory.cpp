// The memory of walks.
#include "server/walk_memory.h"

#include <utility>

namespace index_server {

namespace {

/// Takes a walk back to a place that it came by.
void go_back(walk& back, const walk_place& place) {
    back.place = place;
    while (!back.read.empty() && place < back.read.back().end) {
        if (back.read.size() < 2 || back.read.rbegin()[1].end < place) {
            back.read.back().end = place;
            return;
        }
        back.read.pop_back();
    }
}

}  // namespace

std::string listing_key(const share& target, const search_query& query) {
    std::string key;
    const auto add = [&](std::int64_t number) { key += std::to_string(number) + ' '; };
    add(target.subclient_id);
    add(static_cast<int>(query.what));
    for (const bool option : {query.extents, query.all_versions, query.fold_case, query.descending,
                              query.by_extent_number, query.group_descending, query.time.has_value()})
        add(option);
    if (query.time) {
        add(query.time->low_s);
        add(query.time->high_s);
    }
    add(query.data_types);
    add(static_cast<int>(query.grouped_by));
    add(query.group_limit);
    return key + query.key_value;
}

std::optional<walk> walk_memory::resume(const std::string& listing, std::int64_t offset) {
    if (offset == 0) return std::nullopt;
    const std::lock_guard lock(mutex_);
    drop_beyond_bounds();
    const auto [begin, end] = by_listing_.equal_range(listing);
    auto first = records_.end(), last = records_.end(), again = records_.end();
    for (auto at = begin; at != end; ++at) {
        const records::iterator one = at->second;
        if (one->offset == offset) again = one;
        if (one->next_offset != offset) continue;
        if (first == records_.end() || one->left.place < first->left.place) first = one;
        if (last == records_.end() || last->left.place < one->left.place) last = one;
    }
    if (first != records_.end()) {
        // The first place stays for the others; the one given up is the farthest.
        walk found = first->left;
        drop(last);
        return found;
    }
    if (again == records_.end()) return std::nullopt;
    walk found = again->left;
    go_back(found, again->from);
    drop(again);
    return found;
}

void walk_memory::keep(const std::string& listing, const walk& left, std::int64_t next_offset, std::int64_t offset,
                       const walk_place& from) {
    record made{listing, left, next_offset, offset, from, std::chrono::steady_clock::now()};
    if (made.bytes() > most_.bytes) return;
    const std::lock_guard lock(mutex_);
    records_.push_front(std::move(made));
    by_listing_.emplace(listing, records_.begin());
    bytes_ += records_.front().bytes();
    drop_beyond_bounds();
}

void walk_memory::forget(const std::string& listing) {
    const std::lock_guard lock(mutex_);
    for (auto at = by_listing_.find(listing); at != by_listing_.end(); at = by_listing_.find(listing))
        drop(at->second);
}

void walk_memory::drop(records::iterator which) {
    auto [at, end] = by_listing_.equal_range(which->listing);
    while (at != end && at->second != which)
        ++at;
    if (at != end) by_listing_.erase(at);
    bytes_ -= which->bytes();
    records_.erase(which);
}

void walk_memory::drop_beyond_bounds() {
    const auto oldest = std::chrono::steady_clock::now() - most_.idle;
    while (!records_.empty() &&
           (records_.size() > most_.walks || bytes_ > most_.bytes || records_.back().when < oldest))
        drop(std::prev(records_.end()));
}

}  // namespace index_server
