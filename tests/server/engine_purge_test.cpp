// Purges: every question about the bound or later is answered as before, and what nobody needs is gone.
#include <random>
#include <set>

#include "server/administration.h"
#include "tests/server/engine_fixture.h"

namespace index_server {
namespace {

class engine_purge : public engine_fixture {
protected:
    /// Walks to the end and gives what was removed in all.
    share_rows purge(long long bound_s) {
        share_rows all;
        std::optional<step_place> next = step_place();
        while (next) {
            const purge_step step = store->admin().purge(docs, bound_s, *next);
            all.objects += step.removed.objects;
            all.versions += step.removed.versions;
            all.extents += step.removed.extents;
            next = step.next;
        }
        return all;
    }

    share_rows rows_now() { return store->admin().rows_of(docs); }

    /// What the library's caller gets to see of a directory's children at a moment, 0 for now, and below it.
    std::string tree(const std::string& path, const asked& how, int depth = 0) {
        std::string text;
        for (const found_item& item : ask(ask_for::path_children, path, how)) {
            if (gone(item, how)) continue;
            const std::string below = (path == "/" ? "" : path) + "/" + item.name;
            text += below + "=" + item.version + "@" + std::to_string(item.vtime) + " ";
            if (depth < 6) text += tree(below, how, depth + 1);
        }
        return text;
    }

    /// What each object is by its GUID: its version and path, unless it has ended by then.
    std::string by_guid(const std::set<std::string>& guids, const asked& how) {
        std::string text;
        for (const std::string& guid : guids) {
            const std::vector<found_item> items = ask(ask_for::guid, guid, how);
            if (!items.empty() && !gone(items.front(), how)) text += guid + "=" + items.front().path + " ";
            for (const found_item& extent : ask(ask_for::extents, guid, how)) {
                if (!gone(extent, how)) text += std::to_string(extent.extent_number) + ":" + extent.version + " ";
            }
        }
        return text;
    }

    std::string line(const char* op, const std::string& object, const std::string& version, const std::string& parent,
                     const std::string& name, long long vtime_s, int type = 1) {
        return std::string("<") + op + ">|<VGID>" + version + "|<BAP>" + object + "|<EPG>" +
               (parent.empty() ? docs.root_guid : parent) + "|<VTIM>" + std::to_string(vtime_s) + "000000000|<OTYP>" +
               std::to_string(type) + "|<LFN>" + name;
    }
    std::string end(const std::string& object, long long at) {
        return "<DEL>|<BAP>" + object + "|<DTIM>" + std::to_string(at);
    }
};

TEST_F(engine_purge, superseded_versions_and_ended_objects_go_and_all_else_stays) {
    apply({line("ADD", "d", "d1", "", "dir", 10, 4), line("ADD", "a", "a1", "d", "a", 20),
           line("ADD", "a", "a2", "d", "a", 30), line("ADD", "a", "a3", "d", "a", 90),
           line("ADD", "b", "b1", "d", "b", 20), line("ADD", "c", "c1", "d", "c", 20)});
    apply({end("b", 40), end("c", 90)});
    const share_rows removed = purge(50);
    EXPECT_EQ(removed.versions, 2u);  // a1 and b1
    EXPECT_EQ(removed.objects, 1u);
    EXPECT_EQ(find("/dir/a", {.at = 50}), "a2");
    EXPECT_EQ(find("/dir/c", {.at = 89}), "c1");
    EXPECT_EQ(find("/dir/a"), "a3");
    EXPECT_TRUE(ask(ask_for::guid, "b").empty());
    EXPECT_EQ(purge(50).versions, 0u);
    EXPECT_EQ(purge(95).versions, 2u);  // a2 and c1
    EXPECT_EQ(browse("/dir"), "a");
}

TEST_F(engine_purge, an_ended_directory_goes_with_what_is_in_it_but_not_from_below_what_stays) {
    apply({line("ADD", "d", "d1", "", "dir", 10, 4), line("ADD", "e", "e1", "d", "sub", 10, 4),
           line("ADD", "f", "f1", "e", "f", 10), line("ADD", "k", "k1", "", "kept", 10, 4),
           line("ADD", "m", "m1", "k", "moved", 10, 4), line("ADD", "n", "n1", "m", "n", 10)});
    apply({end("d", 40), end("k", 40)});
    // It left the directory only after the bound: until then its way up leads through it.
    apply({line("ADD", "m", "m2", "", "moved", 80, 4)});
    const std::string late = by_guid({"d", "e", "f", "k", "m", "n"}, {.at = 60}) + tree("/", {.at = 85});
    EXPECT_EQ(purge(50).objects, 3u);  // d, e and f
    EXPECT_EQ(by_guid({"d", "e", "f", "k", "m", "n"}, {.at = 60}) + tree("/", {.at = 85}), late);
    EXPECT_EQ(find("/moved/n"), "n1");
    EXPECT_EQ(purge(100).objects, 1u);  // k
    EXPECT_EQ(find("/moved/n", {.at = 100}), "n1");
}

TEST_F(engine_purge, extents_are_history_like_versions) {
    const auto extent = [](int number, const std::string& version, int at) {
        return "<ADD>|<IEXT>1|<VGID>" + version + "|<BAP>x|<EPG>f|<EXTN>" + std::to_string(number) + "|<VTIM>" +
               std::to_string(at) + "000000000|<CPRP>custom_k:v";
    };
    apply({line("ADD", "f", "f1", "", "file", 10), extent(1, "old", 10), extent(1, "mid", 20), extent(1, "new", 90),
           extent(2, "ended", 10), extent(3, "late", 10)});
    apply({"<DEL>|<IEXT>1|<VGID>ended|<BAP>x|<EPG>f|<EXTN>2|<DTIM>40",
           "<DEL>|<IEXT>1|<VGID>late|<BAP>x|<EPG>f|<EXTN>3|<DTIM>60"});
    const std::string at_bound = by_guid({"f"}, {.at = 50});
    EXPECT_EQ(purge(50).extents, 2u);  // old and ended
    EXPECT_EQ(by_guid({"f"}, {.at = 50}), at_bound);
    apply({end("f", 95)});
    const share_rows removed = purge(100);
    EXPECT_EQ(removed.extents, 3u);
    EXPECT_EQ(removed.objects, 1u);
}

TEST_F(engine_purge, large_directories_and_files_go_in_several_steps) {
    std::vector<std::string> lines{line("ADD", "d", "d1", "", "dir", 10, 4), line("ADD", "g", "g1", "", "file", 10)};
    for (int i = 0; i < 4500; ++i) {
        lines.push_back(line("ADD", "o" + std::to_string(i), "v", "d", "n" + std::to_string(i), 10));
        lines.push_back("<ADD>|<IEXT>1|<VGID>e|<BAP>x|<EPG>g|<EXTN>" + std::to_string(i));
    }
    apply(docs, lines);
    apply({end("d", 20), end("g", 20)});
    const purge_step first = store->admin().purge(docs, 30, step_place());
    EXPECT_LT(first.removed.versions, 4500u);
    const share_rows removed = purge(30);
    EXPECT_EQ(first.removed.versions + removed.versions, 4502u);
    EXPECT_EQ(first.removed.extents + removed.extents, 4500u);
    EXPECT_EQ(rows_now().objects, 1u);
}

/// A made-up past: objects come, change, move, end and come again, in any order of their times.
TEST_F(engine_purge, no_question_about_the_bound_or_later_is_answered_otherwise) {
    const unsigned most_seeds = test_storage::is_postgresql() ? 2 : 10;
    for (unsigned seed = 1; seed <= most_seeds; ++seed) {
        SCOPED_TRACE(seed);
        docs = store->register_share("docs " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto pick = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
        std::set<std::string> guids;
        for (int batch = 0; batch < 12; ++batch) {
            std::vector<std::string> lines;
            for (int i = 0; i < 6; ++i) {
                const int number = pick(14);
                const std::string object = "o" + std::to_string(number);
                guids.insert(object);
                // Directories have the lower numbers and stand in lower ones still, so that no circle comes about.
                const int above = pick(std::min(number, 6) + 1);
                const std::string parent = above == 0 ? "" : "o" + std::to_string(above - 1);
                const long long at = 10 + pick(100);
                const std::string version = "v" + std::to_string(batch) + "-" + std::to_string(i);
                const int what = pick(10);
                if (what < 6)
                    lines.push_back(
                        line("ADD", object, version, parent, "n" + std::to_string(pick(4)), at, number < 6 ? 4 : 1));
                else if (what < 9)
                    lines.push_back(end(object, at));
                else
                    lines.push_back("<ADD>|<IEXT>1|<VGID>" + version + "|<BAP>x|<EPG>" + object + "|<EXTN>" +
                                    std::to_string(pick(2)) + "|<VTIM>" + std::to_string(at) + "000000000");
            }
            ASSERT_TRUE(apply(docs, lines).applied);
        }
        const long long bound = 30 + pick(70);
        const auto answers = [&] {
            std::string all = tree("/", {}) + by_guid(guids, {});
            for (long long at = bound; at <= 115; at += 9)
                all += "\n" + std::to_string(at) + ": " + tree("/", {.at = at}) + by_guid(guids, {.at = at});
            return all;
        };
        const std::string before = answers();
        purge(bound);
        EXPECT_EQ(answers(), before);
        EXPECT_EQ(purge(bound).versions, 0u) << "a second purge finds more";
        purge(200);
        EXPECT_EQ(tree("/", {}) + by_guid(guids, {}), before.substr(0, before.find('\n')));
    }
}

}  // namespace
}  // namespace index_server
