// Searches by path: places over time, directories made anew, case, pages, and requests that are not understood.
#include <random>
#include <set>
#include <tuple>

#include "tests/server/engine_fixture.h"

namespace index_server {

namespace {

using engine_search = engine_fixture;

TEST_F(engine_search, a_moved_object_is_found_where_it_was_and_now_only_where_it_is) {
    apply({added("d", "d1", 5, "", "d"), added("e", "e1", 5, "", "e"), added("o", "v1", 10, "d", "a"),
           added("o", "v2", 15, "d", "a")});
    apply({updated("o", "v3", 20, "e", "b"), updated("o", "v4", 30, "e", "b")});
    EXPECT_EQ(finds("/d/a", {12, 19, 20, 0}), "v1, v2, -, -") << "neither of the versions that stood there";
    EXPECT_EQ(finds("/e/b", {19, 20, 0}), "-, v3, v4");
    EXPECT_EQ(browse("/d") + "," + browse("/e"), ",b");
    EXPECT_EQ(browse("/e", {.at = 40}), "b") << "once, in its newest version";
    apply({deleted("o", "v4", 50) + place("e", "b")});
    for (const char* path : {"/d/a", "/e/b"})
        EXPECT_EQ(finds(path, {60, 0}), "-, -") << "no version of either place comes back";
    // Back at the first place under a name that it had before.
    apply({added("o", "v5", 70, "d", "a")});
    EXPECT_EQ(finds("/d/a", {60, 0}), "-, v5");
}

TEST_F(engine_search, children_follow_a_renamed_directory_untouched_and_end_with_a_deleted_one) {
    apply({added("d", "d1", 5, "", "old"), added("o", "v1", 6, "d", "a"), added("p", "v1", 6, "d", "b")});
    apply({updated("d", "d2", 20, "", "new")});
    EXPECT_EQ(finds("/new/a", {19, 0}) + "; " + finds("/old/a", {19, 0}), "-, v1; v1, -");
    EXPECT_EQ(browses("/old", {19, 20}), "a b, -");
    EXPECT_EQ(first("/new/a").path, "/new/a");
    apply({deleted("p", "v1", 28) + place("d", "b"), deleted("d", "d2", 30) + place("", "new")});
    EXPECT_EQ(finds("/new/a", {29, 30, 0}), "v1, -, -");
    EXPECT_EQ(first("/new/a").dtime, 30);
    EXPECT_EQ(first("/new/b").dtime, 28) << "it ended before its directory did";
}

TEST_F(engine_search, a_directory_made_anew_shows_its_own_children_and_never_the_dead_first) {
    apply({added("d1", "d1", 5, "", "d"), added("o1", "old", 50, "d1", "a"), added("p1", "only", 6, "d1", "b")});
    apply({deleted("d1", "d1", 60) + place("", "d")});
    // The dead child's version is younger than the living one's: a page of one must still give the living.
    apply({added("d2", "d2", 61, "", "d"), added("o2", "new", 40, "d2", "a")});
    EXPECT_EQ(finds("/d/a", {55, 70, 0}), "old, new, new");
    EXPECT_EQ(browses("/d", {55, 70, 0}), "b a, a, a");
    const std::vector<found_item> sent = ask(ask_for::path_children, "/d");
    ASSERT_EQ(sent.size(), 3u) << "the ended ones are sent behind the living";
    EXPECT_EQ(sent[0].version, "new");
    EXPECT_EQ(sent[1].dtime, 60);
}

TEST_F(engine_search, a_range_has_both_its_ends_and_does_not_hide_the_way_and_slashes_count_once) {
    apply({added("d", "d1", 5, "", "d"), added("o", "v1", 10, "d", "a"), updated("o", "v2", 20, "d", "a")});
    EXPECT_EQ(find("/d/a", {.at = 20, .after = 20}), "v2");
    EXPECT_EQ(find("/d/a", {.at = 19, .after = 10}), "v1");
    EXPECT_EQ(find("/d/a", {.at = 19, .after = 11}), "");
    EXPECT_EQ(find("/d/a", {.after = 20}), "v2");
    EXPECT_EQ(find("/d/a", {.after = 21}), "") << "only the newest version counts without a past moment";
    EXPECT_EQ(find("//d///a") + find("/d/a/") + find("/d/a/b") + browse("//d/"), "v2v2a");
}

TEST_F(engine_search, case_is_folded_on_request_through_every_directory_that_matches) {
    apply({added("d", "v", 5, "", "Straße"), added("e", "v", 6, "", "STRASSE"), added("f", "v", 7, "", "\xff Bad"),
           added("a", "va", 10, "d", "Ärger"), added("b", "vb", 11, "e", "ärger")});
    EXPECT_EQ(find("/strasse/ÄRGER"), "");
    EXPECT_EQ(find("/Straße/Ärger"), "va");
    EXPECT_EQ(find("/strasse/ÄRGER", {.fold_case = true}), "vb") << "the newest of the two";
    EXPECT_EQ(first("/strasse/ÄRGER", {.fold_case = true}).path, "/STRASSE/ärger");
    EXPECT_EQ(browse("/strasse", {.fold_case = true}), "Ärger ärger");
    EXPECT_EQ(browse("/strasse", {.at = 20, .fold_case = true}), "Ärger ärger") << "two paths, two groups";
    EXPECT_EQ(find("/\xff bad", {.fold_case = true}), "v");
    apply({deleted("b", "vb", 20) + place("e", "ärger")});
    EXPECT_EQ(find("/strasse/ÄRGER", {.fold_case = true}), "va");
}

TEST_F(engine_search, a_name_longer_than_any_index_takes_is_found_whole) {
    // Random, so that nothing can shorten it; the two differ behind everything that an index might look at.
    std::mt19937 random(7);
    std::string name;
    while (name.size() < 20000)
        name += static_cast<char>('A' + random() % 26);
    ASSERT_TRUE(
        apply({added("a", "v1", 5, docs.root_guid, name + "1"), added("b", "v2", 5, docs.root_guid, name + "2")})
            .applied);
    EXPECT_EQ(find("/" + name + "2"), "v2");
    name[0] = static_cast<char>(name[0] + ('a' - 'A'));
    EXPECT_EQ(find("/" + name + "1"), "");
    EXPECT_EQ(find("/" + name + "1", {.fold_case = true}), "v1");
}

TEST_F(engine_search, slashes_count_once) {
    apply({added("d", "d1", 5, "", "d"), added("o", "v1", 6, "d", "a")});
    EXPECT_EQ(find("//d///a"), "v1");
    EXPECT_EQ(find("/d/a/"), "v1");
    EXPECT_EQ(browse("//d/"), "a");
    EXPECT_EQ(find("/d/a/b"), "");
}

TEST_F(engine_search, pages_of_a_large_directory_neither_lose_nor_double_an_entry) {
    std::vector<std::string> lines{added("d", "d1", 5, "", "d")};
    // Few different times, so that ties decide nearly everywhere.
    for (int i = 0; i < 5000; ++i)
        lines.push_back(added("o" + std::to_string(i), "v", 10 + i % 3, "d", "n" + std::to_string(i)));
    ASSERT_TRUE(apply(docs, lines).applied);
    for (const long long moment : {0LL, 100LL}) {
        std::set<std::string> names;
        std::vector<std::size_t> sizes;
        for (long long start = 0; start <= 5000; start += 1000) {
            const auto page = ask(ask_for::path_children, "/d", {.at = moment, .page_start = start});
            sizes.push_back(page.size());
            for (const found_item& item : page)
                names.insert(item.name);
        }
        EXPECT_EQ(sizes, (std::vector<std::size_t>{1000, 1000, 1000, 1000, 1000, 0})) << moment;
        EXPECT_EQ(names.size(), 5000u) << moment;
    }
}

TEST_F(engine_search, what_a_request_asks_for_in_vain_is_an_error_and_never_a_guess) {
    const std::tuple<const char*, const char*, const char*> options[] = {
        {"ENABLE_FLIGHT", "true", "not supported: ENABLE_FLIGHT true\n"},
        {"GROUP_RESULTS_BY", "zyurl_0", "not supported: GROUP_RESULTS_BY zyurl_0\n"},
        {"GROUP_LIMIT", "0", "not supported: GROUP_LIMIT 0\n"},
        {"SORTFIELD", "VERSION_TIME", "a parameter stands twice: SORTFIELD\n"}};
    for (const auto& [name, value, error] : options) {
        auto made = request(docs, ask_for::path, "/", {});
        add_option(made, name, value);
        EXPECT_EQ(errors(made), error);
    }
    const std::tuple<const char*, std::vector<std::string>, int, const char*> filters[] = {
        {"FILE_NAME", {"o"}, 2, "not supported: field FILE_NAME\n"},
        {"PARENT_GUID", {"o"}, 2, "the request looks for two things at once\n"},
        {"VTIME_SEC", {"1"}, 2, "VTIME_SEC takes a low and a high number of seconds\n"},
        {"CISTATE", {}, 0, "a field without values: CISTATE\n"},
        {"CISTATE", {"0", "1"}, 2, "not supported: CISTATE 2\n"}};
    for (const auto& [name, values, mode, error] : filters) {
        auto made = request(docs, ask_for::path, "/", {});
        add_filter(made, name, values, mode);
        EXPECT_EQ(errors(made), error);
    }
    auto scoped = request(docs, ask_for::path, "/", {});
    const auto scope = scoped.getObjectAccessor(true, true, 2, 2, 14, 157);
    scope->getObjectAccessor(true, true, 1, 1, 14, 154)->setint64(2, 5, 1);
    auto& group = scope->getlistobject<KT5ContentIndexing::ZYOrbitSecurityGroup>(7, 7, true)->emplace_back();
    group.getlistint(2, 2, true)->push_back(static_cast<int>(docs.subclient_id) + 1);
    group.getlistobject<KT5ContentIndexing::FieldValue>(7, 7, true)->emplace_back().setstring(1, 1, "Client");
    auto& bare = scope->getlistobject<KT5ContentIndexing::ZYSearchGroup>(4, 4, true)->emplace_back();
    const auto criteria = bare.getObjectAccessor(true, true, 4, 4, 14, 150);
    criteria->getlistobject<KT5ContentIndexing::FieldValue>(2, 5, true)->emplace_back().setstring(1, 1, "CISTATE");
    EXPECT_EQ(errors(scoped),
              "not supported: keywordMode 1\nthe request names another share\nnot supported: scope Client\n"
              "a field without a mode: CISTATE\n");

    auto no_path = KT5ContentIndexing::ZYSearchReq();
    EXPECT_EQ(errors(no_path), "pageSize is not between 1 and 10000\nthe request does not say what it looks for\n");
    auto page = request(docs, ask_for::path_children, "/", {.page_size = 10001, .page_start = -1});
    EXPECT_EQ(errors(page), "pageSize is not between 1 and 10000\npageStart is below 0\n");
}

}  // namespace

}  // namespace index_server
