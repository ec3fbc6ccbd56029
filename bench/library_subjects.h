// The library in each workload.
#pragma once

#include <vector>

#include "bench/subject.h"

namespace bench {

subject_ptr library_add(const std::string& place, std::size_t batch);
subject_ptr library_update_merge(const std::string& place, std::size_t batch);
subject_ptr library_rename(const std::string& place, std::size_t batch);
subject_ptr library_find_guid(const std::string& place, std::size_t batch);
subject_ptr library_find_path(const std::string& place, std::size_t batch);
subject_ptr library_replay(const std::string& place, std::size_t batch);
subject_ptr library_collect(const std::string& place, std::size_t batch);

/// The journal lines of `batch` adds, with their line feeds, as the library writes them.
std::vector<std::string> journal_lines(const std::string& place, std::size_t batch);
/// The collect lines of the same.
std::vector<std::string> collect_lines(const std::string& place, std::size_t batch);

}  // namespace bench
