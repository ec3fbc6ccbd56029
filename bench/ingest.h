// The index server's intake of collect files beside what bounds it: the bare insertion of the same rows.
#pragma once

#include <cstddef>
#include <string>

#include "bench/subject.h"

namespace bench {

/// One collect file of `lines` additions, applied to an empty embedded index in `place`.
subject_ptr sqlite_ingest(const std::string& place, std::size_t lines);
/// The same rows into the same tables with the same indexes, from memory, by prepared insertions in one transaction.
subject_ptr bare_sqlite_insert(const std::string& place, std::size_t lines);

}  // namespace bench
