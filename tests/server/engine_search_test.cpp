// Searches by path: directories made anew, ranges, case, long names, and requests that are not understood.
#include <random>
#include <tuple>

#include "tests/server/engine_fixture.h"

namespace index_server {

namespace {

using engine_search = engine_fixture;

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

TEST_F(engine_search, what_a_request_asks_for_in_vain_is_an_error_and_never_a_guess) {
    const std::tuple<const char*, const char*, const char*> options[] = {
        {"ENABLE_FLIGHT", "true", "not supported: ENABLE_FLIGHT true\n"},
        {"GROUP_RESULTS_BY", "zyurl_0", "not supported: GROUP_RESULTS_BY zyurl_0\n"},
        {"GROUP_LIMIT", "0", "not supported: GROUP_LIMIT 0\n"},
        {"ENABLE_EXTENT_SEARCH", "true", "not supported: ENABLE_EXTENT_SEARCH without PARENT_GUID or AFILEID\n"},
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
    auto no_path = KT5ContentIndexing::ZYSearchReq();
    EXPECT_EQ(errors(no_path), "pageSize is not between 1 and 10000\nthe request does not say what it looks for\n");
    auto page = request(docs, ask_for::path_children, "/", {.page_size = 10001, .page_start = -1});
    EXPECT_EQ(errors(page), "pageSize is not between 1 and 10000\npageStart is below 0\n");
}

}  // namespace

}  // namespace index_server
