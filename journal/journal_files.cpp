// The journal file is the durable twin of the current caches: one line for each accepted change, in order.
//
// J1  Files are named collect_file_ and ten digits; the number only grows, by one for each file created.
// J2  At most two exist: the one being written and the one whose batch is being delivered.
// J3  `journal_file` stands for the current one; the older one is only a name.
#include "journal/journal_files.h"

#include <dirent.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "core/index_iface.h"
#include "core/log_line.h"

namespace {

struct close_directory {
    void operator()(DIR* stream) const { closedir(stream); }
};

}  // namespace

void form_journal_file_name(const std::string& directory, std::string& name, int number) {
    char digits[16];
    snprintf(digits, 14, "%010d", number);
    name = directory + IIFACE_DELIMITER_C + "collect_file" + "_" + digits;
}

// locks: cl_lock held for writing, or start-up
int index_iface::open_journal_file(int flags) {
    const CXoError error = journal_file->Open(cur_journal_file.c_str(), flags, journal_file_mode);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: open file [%s] failed with the error [%s].", cur_journal_file.c_str(),
                      error.AsString().c_str());
        return FXErrorUtil::GetErrNo(error);
    }
    return 0;
}

// After a failure `cur_journal_file` names the file that could not be made; the caller restores it.
// locks: cl_lock held for writing, or start-up
int index_iface::create_next_journal_file() {
    form_journal_file_name(collect_dir, cur_journal_file, static_cast<int>(journal_file_num + 1));
    const int ret = open_journal_file(new_journal_flags);
    if (ret != 0) {
        return ret;
    }
    ++journal_file_num;
    return 0;
}

int get_fnames_in_dir(std::vector<std::string>& names, const std::string& directory, const std::string& prefix) {
    const std::unique_ptr<DIR, close_directory> stream(opendir(directory.c_str()));
    if (!stream) {
        const int error_number = errno;
        IIF_LOG_ERROR("Error: can't open directory %s Err [%d : %s]", directory.c_str(), error_number,
                      strerror(error_number));
        return error_number;
    }
    while (const dirent64* entry = readdir64(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && name.starts_with(prefix)) {
            names.emplace_back(name);
        }
    }
    return 0;
}
