// Applies a collect file to the rows of a share. What its lines do is told in object_rules.h and extent_rules.h.
#pragma once

#include <cstdint>
#include <string>

#include "server/engine.h"
#include "server/row_store.h"

namespace index_server {

/// The bytes of a collect file that are held in memory at once, parsed, with the rows that they touch: a few times as
/// much memory.
inline constexpr std::uint64_t collect_part_bytes = 64 * 1024 * 1024;

/// Applies the whole file, or finds a line that cannot be understood and writes nothing. `now_ns` is the file's moment
/// of arrival. locks: called inside a write transaction of the store, which the caller commits if the file was applied.
apply_outcome apply_collect_file(row_store& store, const share& target, const std::string& path, std::int64_t now_ns,
                                 std::uint64_t part_bytes = collect_part_bytes);

/// Makes the root object of a new share. locks: called inside a write transaction of the store.
void make_root(row_store& store, const share& target);

}  // namespace index_server
