// What bounds the library: the same bytes without it.
#pragma once

#include "bench/subject.h"

namespace bench {

/// One write(2) for each journal line of an add, appended to one descriptor.
subject_ptr bare_journal_writes(const std::string& place, std::size_t batch);
/// The same for the lines of a collect file.
subject_ptr bare_collect_writes(const std::string& place, std::size_t batch);
/// All journal lines read into one record, over and over, from memory, with nothing kept.
subject_ptr bare_parse(const std::string& place, std::size_t batch);

}  // namespace bench
