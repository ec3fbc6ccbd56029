// A share whose index and collection service are in this process and answer at once, so that what is measured is the
// library on the host kit's files, locks and caches.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "bench/subject.h"
#include "core/index_iface.h"

/// The library's door for those who measure or test its parts.
struct index_iface_test_access {
    static int switch_cache(index_iface& share) { return share.switch_cache(); }
    /// Writes the collect file of the batch that waits.
    static bool write_collect_file(index_iface& share) {
        share.delivery_journal = share.old_journal_file;
        return !share.write_collect_file().IsError();
    }
    static int replay(index_iface& share, const std::string& directory) {
        return share.process_old_journal_files(directory);
    }
    /// Ends what replay began: the records go, the share's own journal is the current one again.
    static void forget_replayed(index_iface& share, const std::string& journal, std::uint32_t number) {
        share.delete_cached_items(share.cur_cache);
        share.old_journal_files.clear();
        share.cur_journal_file = journal;
        share.journal_file_num = number;
    }
    static std::size_t cached(const index_iface& share) { return static_cast<std::size_t>(share.cur_cache->num_items); }
    static std::uint32_t journal_number(const index_iface& share) { return share.journal_file_num; }
    static const std::string& journal(const index_iface& share) { return share.cur_journal_file; }
    static const std::string& collect_file(const index_iface& share) { return share.collect_file; }
};

namespace bench {

using inside = index_iface_test_access;

/// Prepares the settings and the silent log that shares need. Once, before the first share.
void prepare_host();

/// Lines of all files that the collection service has taken so far.
std::size_t lines_collected();

/// The number of lines in a file.
std::size_t lines_in(const std::string& file);

/// A started share in a directory of its own below `place`, which expects batches of `batch` changes: it neither
/// flushes by itself nor slows its callers down.
class started_share {
public:
    started_share(const std::string& place, std::size_t batch);

    index_iface& operator*() const { return *share_; }
    index_iface* operator->() const { return share_.get(); }

private:
    scratch_directory directory_;
    std::unique_ptr<index_iface> share_;
};

}  // namespace bench
