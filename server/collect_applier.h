// Applies a collect file to the rows of a share. What its lines do is told in object_rules.h and extent_rules.h.
#pragma once

#include <cstdint>

#include "server/collect_file.h"
#include "server/engine.h"
#include "server/row_store.h"

namespace index_server {

/// The bytes of a collect file that are held in memory at once, parsed, with the rows that they touch: a few times as
/// much memory.
inline constexpr std::uint64_t collect_part_bytes = std::uint64_t{64} << 20;

/// What is to be said of a file that was read: how many lines it has, and which one cannot be understood.
apply_outcome outcome_of(const collect_file& file);

/// Applies a file all of whose lines can be understood. `now_ns` is its moment of arrival. locks: called inside a write
/// transaction of the store.
void apply_collect_file(row_store& store, const share& target, collect_file& file, std::int64_t now_ns);

/// Makes the root object of a new share. locks: called inside a write transaction of the store.
void make_root(row_store& store, const share& target);

}  // namespace index_server
