// Replay: after a restart the journal files are all that is left of changes that did not reach the index. They go back
// into the caches in the roles that they had. A damaged file stops the start and waits for a person.
//
//   found      cur_journal_file   old_journal_file   cur_cache          old_cache
//   none       empty              empty              empty              empty
//   one        that file          empty              its records        empty
//   two        the newer          the older          of the newer       of the older
//   more       empty              empty              empty              empty; the start fails
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "journal/journal_files.h"

// thread: start-up only
int index_iface::process_old_journal_files(const std::string& directory) {
    IIF_LOG(5, "process_old_journal_files");
    std::vector<std::string> names;
    if (const int ret = get_fnames_in_dir(names, directory, journal_file_prefix); ret != 0) {
        return ret;
    }
    std::sort(names.begin(), names.end());
    IIF_LOG(5, "process_old_journal_files num_files=%lu", names.size());
    if (names.size() > 2) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: number of journal files, [%lu] > 2.", names.size());
        return EINVAL;
    }
    if (names.empty()) {
        return 0;
    }
    cur_journal_file = directory + IIFACE_DELIMITER_C + names.back();
    if (const int ret = read_journal_file(cur_cache, cur_journal_file); ret != 0) {
        return ret;
    }
    if (names.size() == 2) {
        old_journal_file = directory + IIFACE_DELIMITER_C + names.front();
        if (const int ret = read_journal_file(old_cache, old_journal_file); ret != 0) {
            return ret;
        }
    }
    const std::string& newest = names.back();
    journal_file_num = static_cast<std::uint32_t>(atoi(newest.c_str() + newest.rfind('_') + 1));
    keep_replayed(old_cache);
    keep_replayed(cur_cache);
    return 0;
}

void index_iface::keep_replayed(const index_iface_cache* cache) {
    old_journal_files.reserve(old_journal_files.size() + static_cast<std::size_t>(cache->num_items));
    for (const index_iface_item* item = cache->first; item != nullptr; item = item->list_next) {
        if (item->props == nullptr) {
            continue;
        }
        IIF_LOG(5, "pushing [%s] [%s]", item->props->object_guid.c_str(), item->props->name.c_str());
        old_journal_files.push_back(*item->props);
    }
}

// thread: start-up only
int index_iface::read_journal_file(index_iface_cache* cache, const std::string& path) {
    CXoFile file;
    CXoError error = file.Open(path.c_str(), read_journal_flags, 0);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: open file [%s] failed with the error [%s].", path.c_str(),
                      error.AsString().c_str());
        return FXErrorUtil::GetErrNo(error);
    }
    std::uint64_t size = 0;
    error = file.Size(size);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: get size of the file [%s] failed with the error [%s].", path.c_str(),
                      error.AsString().c_str());
        return FXErrorUtil::GetErrNo(error);
    }
    if (size == 0) {
        return 0;
    }
    // Zeroed, so that what a short read leaves out reads as an incomplete line and never as old memory.
    const std::unique_ptr<char, decltype(&free)> buffer(static_cast<char*>(calloc(size + 1, 1)), &free);
    if (!buffer) {
        return ENOMEM;
    }
    std::uint32_t size_read = 0;
    error = file.Read(buffer.get(), static_cast<std::uint32_t>(size), size_read);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: read [%s] failed with the error [%s], fsize [%llu], size_read [%u].",
                      path.c_str(), error.AsString().c_str(), static_cast<unsigned long long>(size), size_read);
        return FXErrorUtil::GetErrNo(error);
    }
    if (buffer.get()[size - 1] != '\n') {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: journal file [%s] has an incomplete last line. Since this will cause "
            "inconsistencies, exiting for manual corection.",
            path.c_str());
        return EINVAL;
    }
    char* position = nullptr;
    for (char* line = strtok_r(buffer.get(), "\n", &position); line != nullptr;
         line = strtok_r(nullptr, "\n", &position)) {
        if (const int ret = process_single_line(cache, line); ret != 0) {
            return ret;
        }
    }
    return 0;
}
