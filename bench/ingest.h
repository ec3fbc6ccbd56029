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

/// The same file applied to an empty index in PostgreSQL, which keeps its data below /tmp and does not sync it.
subject_ptr postgresql_ingest(const std::string& place, std::size_t lines);
/// The same rows into the same tables, from memory, by COPY into staging tables and from there by insertions that
/// replace what is there, in one transaction.
subject_ptr bare_postgresql_copy(const std::string& place, std::size_t lines);

}  // namespace bench
