// Every single call of the host and every single allocation fails once, and then all from that one on: what was
// answered with success reaches the index, nothing else breaks, and the share recovers.
#include "tests/support/share_test.h"

namespace {

using scripted::fault_mode;

/// A change with the text by which a collect file shows it.
struct change {
    const char* shown_as;
    std::function<int()> make;
};

class fault : public share_test {
protected:
    int rename(const std::string& object, const std::string& from, const std::string& more) {
        return share->rename_item(change_of(object, more), "p0", from, false);
    }

    /// A flush that would wait for a batch that nobody sends is an error, and not a test that never ends.
    template <class Operation>
    int or_give_up(Operation operation) {
        struct waits_for_ever {};
        host().on_sleep = [](unsigned long) { throw waits_for_ever(); };
        int ret = -1;
        try {
            ret = operation();
        } catch (const waits_for_ever&) {
        }
        host().on_sleep = nullptr;
        return ret;
    }
    int flush_or_give_up() {
        return or_give_up([this] { return share->flush(); });
    }

    const std::vector<change> before_delivery{
        {"<BAP>a|", [this] { return add("a"); }},
        {"<FS>7|", [this] { return update("a", "size=7"); }},
        {"<LFN>a2|", [this] { return rename("a", "/d/a", "path=/d/a2"); }},
        {"<VGID>w|", [this] { return add("b", "parent=p0 version=w"); }},
        {"<VGID>v2|", [this] { return update("c", "version=v2"); }},
    };
    const std::vector<change> after_delivery{
        {"<LFN>b2|", [this] { return rename("b", "/d/b", "version=v3 path=/d/b2"); }},
        {"<VGID>v4|", [this] { return remove("c", "version=v4"); }},
    };

    /// The road of changes and queries; returns what was accepted.
    std::vector<std::string> travel() {
        std::vector<std::string> accepted;
        const auto make_all = [&](const std::vector<change>& changes) {
            for (const change& c : changes) {
                if (c.make() == 0) accepted.emplace_back(c.shown_as);
                expect_sound();
            }
        };
        make_all(before_delivery);
        cycle();
        expect_sound();
        make_all(after_delivery);
        or_give_up([&] { return browse(by_path, "/d"); });
        found("/d/b");
        expect_sound();
        return accepted;
    }

    /// What holds of caches, names and journals whatever has failed.
    void expect_sound() {
        for (const auto* cache : {reach::cur_cache(*share), reach::old_cache(*share)}) {
            int count = 0;
            const index_iface::index_iface_item* before = nullptr;
            for (const auto* item = cache->first; item != nullptr; before = item, item = item->list_next, ++count) {
                EXPECT_EQ(item->list_prev, before);
                EXPECT_TRUE(item->props == nullptr || item->key == item->props->object_guid.c_str());
            }
            EXPECT_EQ(cache->last, before);
            EXPECT_EQ(cache->num_items, count);
        }
        const std::string& waiting = reach::old_journal_file(*share);
        EXPECT_TRUE(waiting.empty() ? items(reach::old_cache(*share)).empty() : std::filesystem::exists(waiting));
        const std::string lines = journal();
        EXPECT_TRUE(lines.empty() || lines.back() == '\n' || reach::reject_changes(*share));
        cached("/d/a");
        reach::find_child_in_cache_by_path(*share, "/d");
        share->dump_caches();
    }

    void make_with_memory() {
        const scripted::own_memory mine;
        make();
    }

    /// The process ends, an operator cuts off what is no whole line, and the next one starts.
    void crash_and_restart() {
        share.reset();
        for (const auto& entry : std::filesystem::directory_iterator(root / "state/docs")) {
            if (!entry.path().filename().string().starts_with("collect_file_")) continue;
            const std::string text = read_file(entry.path());
            write_file(entry.path(), text.substr(0, text.rfind('\n') + 1));
        }
        ASSERT_EQ(init(), 0);
    }

    static bool a_journal_was_kept(const std::vector<std::string>& failed) {
        return std::ranges::any_of(failed, [](const auto& call) { return call.starts_with("delete collect_file"); });
    }

    static int times(const std::string& text, const std::string& part) {
        int count = 0;
        for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at)
            ++count;
        return count;
    }
};

}  // namespace

TEST_F(fault, no_failing_call_loses_or_doubles_an_accepted_change) {
    for (const fault_mode mode : {fault_mode{}, {false, true}, {true, false}, {true, true}}) {
        int nth = 0;
        for (bool failed = true; failed;) {
            start_over();
            scripted::fail_call(++nth, mode);
            const std::vector<std::string> accepted = travel();
            const std::vector<std::string> failures = scripted::failed_calls();
            failed = !failures.empty();
            SCOPED_TRACE("call " + std::to_string(nth) + " " + (failed ? failures[0] : "none"));
            scripted::fail_call(0);
            if (nth % 2 != 0) {  // it goes on by itself, or in the next process
                cycle();
                cycle();
                expect_sound();
                EXPECT_EQ(add("after", "version=v9"), 0);
                EXPECT_EQ(flush_or_give_up(), 0);
                EXPECT_EQ(share->get_flush_status_msg(), "operational");
            }
            crash_and_restart();
            const std::string& delivered = host().collect.completed;
            for (const std::string& change : accepted) {
                const int count = times(delivered, change);
                EXPECT_TRUE(count == 1 || (count > 1 && a_journal_was_kept(failures))) << change << count;
            }
            EXPECT_EQ(journal(), "");
        }
        EXPECT_GT(nth, 30);
    }
}

TEST_F(fault, start_under_every_failing_call_ends_in_an_answer_and_the_next_one_delivers_the_backlog) {
    const std::string older = "*??|<ADD>|<VTIM>7|<VGID>v|<BAP>o|<EPG>p|<ERP>/5/d/o|\n",
                      newer = "*??|<UPD>|<VGID>w|<BAP>n|<EPG>p|\n";
    for (const bool for_good : {false, true}) {
        int nth = 0;
        for (bool failed = true; failed;) {
            share.reset();
            std::filesystem::remove_all(root / "state");
            script_good_host();
            write_file(root / "state/docs/collect_file_0000000007", older);
            write_file(root / "state/docs/collect_file_0000000008", newer);
            scripted::fail_call(++nth, {for_good, false});
            const int ret = init();
            const std::vector<std::string> failures = scripted::failed_calls();
            failed = !failures.empty();
            SCOPED_TRACE("call " + std::to_string(nth) + " " + (failed ? failures[0] : "none"));
            EXPECT_EQ(ret == 0, reach::is_inited(*share));
            EXPECT_TRUE(ret == 0 || !reach::thread_running(*share));
            scripted::fail_call(0);
            ASSERT_EQ(restart(), 0);
            for (const char* change : {"<BAP>n|", "<BAP>o|"}) {
                const int count = times(host().collect.completed, change);
                EXPECT_TRUE(count == 1 || (count > 1 && a_journal_was_kept(failures))) << change << count;
            }
        }
        EXPECT_GT(nth, 15);
    }
}

TEST_F(fault, missing_memory_anywhere_leaves_answers_and_a_sound_share) {
    const std::string far(300, 'x'), p0 = "p0", old_path = "/d/" + far;
    const auto fresh = change_of("o", "path=/d/" + far), merging = change_of("kept", "parent=" + far),
               gone = change_of("o", "dtime=5 path=/d/" + far);
    struct row {
        const char* name;
        std::function<int()> run;
        bool may_throw;
        std::string shown_as;
    };
    const row rows[] = {
        {"add", [&] { return share->add_item(fresh); }, false, "<LFN>" + far},
        {"update", [&] { return share->update_item(fresh); }, false, "<LFN>" + far},
        {"merge", [&] { return share->update_item(merging); }, false, "<EPG>" + far},
        {"delete", [&] { return share->delete_item(gone); }, false, "<LFN>" + far},
        {"rename", [&] { return share->rename_item(fresh, p0, old_path, false); }, true, "<LFN>" + far},
        {"merging rename", [&] { return share->rename_item(merging, p0, old_path, false); }, true, "<EPG>" + far},
        {"flush", [&] { return share->flush(); }, true, "<BAP>kept|"},
        {"round", [&] { return cycle(), 0; }, true, "<BAP>kept|"},
        {"start", [&] { return make_with_memory(), init(); }, true, "<BAP>kept|"},
    };
    for (const row& r : rows) {
        for (const bool for_good : {false, true}) {
            int nth = 0;
            for (bool failed = true; failed;) {
                start_over();
                add("kept");
                SCOPED_TRACE(r.name + (" " + std::to_string(++nth)) + (for_good ? " for good" : ""));
                scripted::fail_memory(nth, for_good);
                int ret = ENOMEM;
                bool thrown = false;
                try {
                    ret = r.run();
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                failed = scripted::allocation_failed();
                scripted::fail_memory(0);
                EXPECT_TRUE(!thrown || r.may_throw);
                EXPECT_TRUE(failed || ret == 0);
                if (!reach::is_inited(*share)) {
                    ASSERT_EQ(restart(), 0);
                }
                expect_sound();
                cycle();
                cycle();
                EXPECT_EQ(add("after", "version=v9"), 0);
                EXPECT_EQ(flush_or_give_up(), 0);
                EXPECT_EQ(times(host().collect.completed, "<BAP>kept|"), 1);
                EXPECT_TRUE(ret != 0 || times(host().collect.completed, r.shown_as) == 1);
            }
        }
    }
}
