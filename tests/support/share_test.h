// The fixture of the library's tests: one share on the scripted host, told of changes in texts, moved on step by step.
#pragma once

#include <gtest/gtest.h>
#include <filesystem>
#include <memory>
#include <optional>

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
    /// What a cache's list holds, as "object:operation:version", "-" for an item without a record.
    static std::string items(const index_iface::index_iface_cache* cache);
    std::string counter(const std::string& name);

    std::filesystem::path dir() { return reach::collect_dir(*share); }
    static std::string read_file(const std::filesystem::path& path);
    static void write_file(const std::filesystem::path& path, const std::string& text);
    std::string journal() { return read_file(reach::cur_journal_file(*share)); }
    /// Whether a line of that level holds the text; looks at all lines since the last clear_log.
    bool logged(int level, const std::string& text) { return times_logged(text, level) != 0; }
    int times_logged(const std::string& text, std::optional<int> level = {});
    void clear_log() { log_begin = std::filesystem::file_size(root / "log"); }

    scripted::host_state& host() { return scripted::host(); }
    /// A fresh host that knows this share: index "idx", cloud 9, folder 5, and the root record.
    static void script_good_host();

    const scratch_directory scratch;
    const std::filesystem::path root = scratch.path();
    index_iface::args arguments;
    std::unique_ptr<index_iface> share;

private:
    std::string root_text;
    std::size_t log_begin = 0;
};
