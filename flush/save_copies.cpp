// Copies of what was delivered, kept where the host asked for them. No outcome here changes that of the delivery.
#include <new>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "journal/journal_files.h"

namespace {

bool make_directory(const std::string& directory) {
    const CXoError error = CXoDirectory::Create(directory.c_str(), true);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: can't create directory [%s] Err [%s]", directory.c_str(),
                      error.AsString().c_str());
    }
    return !error.IsError();
}

}  // namespace

// The journal and the collect file made from it get the same leaf in two directories. A batch that has arrived must not
// be sent again for want of memory here. locks: delivery_mutex held
void index_iface::save_collect_file() {
    if (collect_save_dir.empty() || delivery_journal.empty()) {
        return;
    }
    try {
        std::string base = collect_save_dir + IIFACE_DELIMITER_C + share_name;
        if (!share_suffix.empty()) {
            base += "-" + share_suffix;
        }
        const std::string leaf = delivery_journal.substr(delivery_journal.rfind(IIFACE_DELIMITER_C) + 1);
        const std::string journal_dir = base + IIFACE_DELIMITER_C + "journal";
        const std::string sent_dir = base + IIFACE_DELIMITER_C + "sent_to_index";
        if (make_directory(journal_dir)) {
            CXoFile::Copy(delivery_journal.c_str(), (journal_dir + IIFACE_DELIMITER_C + leaf).c_str());
        }
        if (make_directory(sent_dir)) {
            CXoFile::Copy(collect_file.c_str(), (sent_dir + IIFACE_DELIMITER_C + leaf).c_str());
        }
    } catch (const std::bad_alloc&) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: no memory to keep copies of the batch [%s].", delivery_journal.c_str());
    }
}
