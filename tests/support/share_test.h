// The fixture of the library's tests: one share on the scripted host, told of changes in texts, moved on step by step.
#pragma once

#include <gtest/gtest.h>
#include <filesystem>
#include <memory>

#include "core/index_iface.h"
#include "tests/support/record_text.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/scripted_host.h"
#include "tests/support/test_access.h"

class share_test : public ::testing::Test {
protected:
    share_test();
    ~share_test() override;

    /// A new object from `arguments`; the former one, if any, is destroyed first.
    index_iface& make();
    /// Makes an object when there is none, and starts it. The flush thread is ended, so that tests do its steps.
    int init();
    int restart();
    /// A started object on a host that never saw one.
    void start_over();

    int add(const std::string& object, const std::string& more = "") {
        return share->add_item(change_of(object, more));
    }
    int update(const std::string& object, const std::string& more = "") {
        return share->update_item(change_of(object, more));
    }
    int remove(const std::string& object, const std::string& more = "") {
        return share->delete_item(change_of(object, "dtime=5 " + more));
    }
    int rotate() { return reach::switch_cache(*share); }
    int deliver() { return reach::flush_internal(*share); }
    /// Wakes the flush thread's cycle and runs it here.
    void cycle();
    /// Rotates and delivers; returns the collect file's text.
    std::string collected();
    /// Lets the delivery, and nothing else, fail `times` times.
    void break_delivery(int times);

    /// The answer of the caches, of a find by path: "2", or the record's text.
    std::string cached(const std::string& path, const std::string& version = "", long before = 0, long after = 0);
    std::string found(const std::string& path, long before = 0);
    /// The same by GUID; the caches alone answer with a record not younger than `real_before` (ns).
    std::string cached_guid(const char* guid,
                            index_iface_time_t real_before = index_iface_browse_fields().real_before_time);
    std::string found_guid(const char* guid, long before = 0);
    /// A browse of that path or GUID: the number of records, which `listed` then holds a line each, or the result made
    /// negative.
    using browse_call = int (index_iface::*)(const index_iface_browse_fields&, index_iface::props_list&);
    static constexpr browse_call by_path = &index_iface::browse_by_path, by_guid = &index_iface::browse_by_guid,
                                 extents = &index_iface::browse_file_extents;
    int browse(browse_call call, const char* of, long before = 0, long after = 0);
    int browse_not_backedup() { return keep(share->browse_extents_not_backedup(results)); }
    /// Whether a change to a child of that directory is pending.
    bool touched(const std::string& guid);
    /// What a cache's list holds, as "object:operation:version", "-" for an item without a record.
    static std::string items(const index_iface::index_iface_cache* cache);
    std::string counter(const std::string& name);

    std::filesystem::path dir() { return reach::collect_dir(*share); }
    static std::string read_file(const std::filesystem::path& path);
    static void write_file(const std::filesystem::path& path, const std::string& text);
    std::string journal() { return read_file(reach::cur_journal_file(*share)); }
    /// Whether a line of that level holds the text; looks at all lines since the last clear_log.
    bool logged(int level, const std::string& text);
    void clear_log() { log_begin = std::filesystem::file_size(root / "log"); }

    scripted::host_state& host() { return scripted::host(); }
    /// A fresh host that knows this share: index "idx", cloud 9, folder 5, and the root record.
    static void script_good_host();

    const scratch_directory scratch;
    const std::filesystem::path root = scratch.path();
    index_iface::args arguments;
    std::unique_ptr<index_iface> share;
    index_iface::props_list results;  ///< what the caller of the next browse has in its list
    std::string listed;

private:
    int keep(int ret);

    std::string root_text;
    std::size_t log_begin = 0;
};

/// Begins with the object started. A test that wants other arguments sets them and starts over.
class started_share : public share_test {
protected:
    void SetUp() override { ASSERT_EQ(init(), 0); }
};
