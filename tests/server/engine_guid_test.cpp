// Searches that begin with a GUID, and searches for extents.
#include <tuple>

#include "tests/server/engine_fixture.h"

namespace index_server {

namespace {

class engine_guid : public engine_fixture {
protected:
    /// A version of an extent of the file "f", and its end.
    static std::string extent(long long number, const std::string& version, long long second,
                              const std::string& more = "") {
        return "<ADD>" + at(second) + "|<VGID>" + version + part(number) + "|<FS>" + std::to_string(100 + number) +
               more;
    }
    static std::string extent_gone(long long number, const std::string& version, long long second) {
        return "<DEL>|<VGID>" + version + part(number) + "|<DTIM>" + std::to_string(second);
    }
    static std::string part(long long number) {
        return "|<BAP>e" + std::to_string(number) + "|<EPG>f|<OTYP>1|<IEXT>1|<EXTN>" + std::to_string(number);
    }
    /// "version path" of what a find by GUID gives the library's caller.
    std::string found(const std::string& guid, const asked& how = {}) {
        const auto items = ask(ask_for::guid, guid, how);
        return items.empty() || gone(items[0], how) ? "" : items[0].version + " " + items[0].path;
    }
    std::string founds(const std::string& guid, const std::vector<long long>& seconds) {
        return over_time(seconds, [&](const asked& how) { return found(guid, how); });
    }
    /// "number:version" of the items that the library's caller gets.
    std::string extents(const asked& how = {}, ask_for what = ask_for::extents) {
        std::string text;
        for (const found_item& item : ask(what, "f", how)) {
            if (what == ask_for::extents_to_back_up || !gone(item, how))
                text += std::to_string(item.extent_number) + ":" + item.version + " ";
        }
        return text;
    }
    std::string to_back_up(const asked& how = {}) { return extents(how, ask_for::extents_to_back_up); }
};

TEST_F(engine_guid, object_is_found_with_the_path_that_it_had_at_the_asked_moment) {
    apply({added("d", "d1", 5, "", "old"), added("o", "v1", 10, "d", "a"), added("o", "v2", 20, "", "b"),
           added("d", "d2", 30, "", "new"), added("p", "p1", 10, "d", "p")});
    EXPECT_EQ(founds("o", {9, 19, 0}), "-, v1 /old/a, v2 /b");
    EXPECT_EQ(founds("p", {29, 0}), "p1 /old/p, p1 /new/p");
    EXPECT_EQ(found("p", {.at = 40, .after = 11}), "");
    EXPECT_EQ(found(docs.root_guid).substr(1), "") << "the root stands for itself, without a path below it";
    EXPECT_EQ(found("P") + found("never") + found(""), "");
    for (const char* path : {"/new/p", "/b"}) {
        const found_item by_path = first(path), by_guid = ask(ask_for::guid, by_path.object)[0];
        EXPECT_EQ(by_guid.path + by_guid.parent + by_guid.name, by_path.path + by_path.parent + by_path.name);
    }
    apply({deleted("o", "v2", 50)});
    EXPECT_EQ(founds("o", {49, 60, 0}), "v2 /b, -, -") << "the older version does not come back";
    apply({deleted("d", "d2", 70)});
    EXPECT_EQ(founds("p", {69, 0}), "p1 /new/p, -") << "gone with its directory";
}

TEST_F(engine_guid, what_no_path_leads_to_is_found_without_one) {
    apply({added("o", "v1", 10, "lost", "a"), added("p", "v1", 10, "q", "p"), added("q", "v1", 10, "p", "q"),
           "<ADD>|<VGID>v1|<BAP>n"});
    EXPECT_EQ(found("o") + found("p") + found("n"), "v1 v1 v1 ") << "and a circle of parents ends";
    EXPECT_EQ(ask(ask_for::guid_children, "lost")[0].name, "a");
    apply({added("lost", "v1", 20, "", "back")});
    EXPECT_EQ(found("o"), "v1 /back/a");
}

TEST_F(engine_guid, children_by_guid_are_those_of_its_path_and_survive_its_moves) {
    const auto names = [&](const asked& how) {
        std::string text;
        for (const found_item& item : ask(ask_for::guid_children, "d", how)) {
            if (!gone(item, how)) text += item.path + " ";
        }
        return text;
    };
    apply({added("d", "d1", 5, "", "old"), added("o", "v1", 10, "d", "a"), added("p", "v1", 11, "d", "b"),
           added("o", "v2", 15, "d", "a"), added("d", "d2", 20, "", "new"), added("p", "v2", 30, "", "b")});
    EXPECT_EQ(over_time({12, 25, 0}, names), "/old/a /old/b , /new/b /new/a , /new/a ") << "by version time";
    EXPECT_EQ(names({.page_size = 1}), "/new/a ");
    EXPECT_EQ(ask(ask_for::guid_children, docs.root_guid).size(), 2u);
    apply({deleted("d", "d2", 40)});
    EXPECT_EQ(names({}), "");
    EXPECT_EQ(ask(ask_for::guid_children, "d")[0].dtime, 40);
}

TEST_F(engine_guid, extents_come_once_each_in_the_newest_version_of_the_moment) {
    apply({added("f", "f1", 5, "", "file"), extent(10, "x1", 10), extent(2, "x1", 10, "|<EXTP>1"), extent(10, "x2", 20),
           extent(3, "x3", 30, "|<CPRP>custom_k:v"), extent_gone(2, "x1", 40)});
    const auto over = [&](const std::vector<long long>& seconds) {
        return over_time(seconds, [&](const asked& how) { return extents(how); });
    };
    EXPECT_EQ(over({15, 39, 0}), "2:x1 10:x1 , 2:x1 3:x3 10:x2 , 3:x3 10:x2 ");
    EXPECT_EQ(extents({.at = 39, .after = 21}), "3:x3 ");
    EXPECT_EQ(extents({.page_size = 1, .page_start = 1}), "10:x2 ");
    const auto items = ask(ask_for::extents, "f");
    ASSERT_EQ(items.size(), 3u) << "the ended one is sent behind the living";
    EXPECT_EQ(items[0].object + items[0].parent + items[0].path + items[0].name, "e3f");
    EXPECT_EQ(items[0].properties, (std::map<std::string, std::string>{{"EXTENT_SIZE", "103"}, {"custom_k", "v"}}));
    EXPECT_EQ(items[2].dtime, 40);
    EXPECT_EQ(items[2].extent_type, 1);
    // The end of the newest version does not bring the one before it back.
    apply({extent_gone(10, "x2", 50)});
    EXPECT_EQ(over({49, 0}), "3:x3 10:x2 , 3:x3 ");
    apply({extent(10, "x4", 60), deleted("f", "f1", 70)});
    EXPECT_EQ(over({69, 0}), "3:x3 10:x4 , -") << "gone with their file";
    EXPECT_EQ(found("e3"), "") << "an extent is no object";
    EXPECT_EQ(ask(ask_for::extents, "e3").size() + ask(ask_for::extents, "").size(), 0u);
}

TEST_F(engine_guid, extents_to_back_up_are_those_of_the_share_ended_ones_last) {
    EXPECT_EQ(to_back_up(), "");
    const share other = store->register_share("other");
    apply(other, {extent(9, "other", 10)});
    apply({extent(1, "x1", 10), extent(2, "x1", 10), extent(1, "x2", 20), extent_gone(1, "x2", 30)});
    apply({extent(3, "x1", 5), extent(2, "x0", 5)});
    EXPECT_EQ(to_back_up(), "2:x1 3:x1 1:x2 ");
    apply({extent(1, "x2", 20)});
    EXPECT_EQ(to_back_up(), "2:x1 1:x2 3:x1 ") << "back to life in its former place";
    std::string paged;
    for (long long start = 0; start < 4; ++start)
        paged += to_back_up({.page_size = 1, .page_start = start});
    EXPECT_EQ(paged, "2:x1 1:x2 3:x1 ");
}

TEST_F(engine_guid, requests_that_mean_nothing_together_are_errors) {
    const std::string key = "zyurl_" + std::to_string(docs.subclient_id), no_group = "GROUP_RESULTS_BY in this search",
                      no_order = "AFILEID with a range, versions, groups or an order";
    const std::tuple<ask_for, const char*, std::string, std::string> cases[] = {
        {ask_for::path, "ENABLE_EXTENT_SEARCH", "true", "ENABLE_EXTENT_SEARCH without PARENT_GUID or AFILEID"},
        {ask_for::guid, "GROUP_RESULTS_BY", key, no_group},
        {ask_for::guid_children, "GROUP_RESULTS_BY", "EXTENT_NUMBER", no_group},
        {ask_for::extents_to_back_up, "SORTFIELD", "VERSION_TIME", no_order},
        {ask_for::extents_to_back_up, "ENABLE_ALL_VERSIONS", "true", no_order},
        {ask_for::extents_to_back_up, "GROUP_RESULTS_BY", "EXTENT_NUMBER", no_order}};
    for (const auto& [what, option, value, error] : cases) {
        auto made = request(docs, what, "o", {});
        EXPECT_EQ(errors(made), "");
        add_option(made, option, value);
        EXPECT_EQ(errors(made), "not supported: " + error + "\n");
    }
    for (const auto& [value, mode] : {std::pair("*", 2), {"7", 4}}) {
        auto made = KT5ContentIndexing::ZYSearchReq();
        add_filter(made, "AFILEID", {value}, mode);
        add_option(made, "ENABLE_EXTENT_SEARCH", "true");
        EXPECT_NE(errors(made).find("not supported: AFILEID " + std::string(mode == 2 ? "2" : value)),
                  std::string::npos);
    }
}

}  // namespace

}  // namespace index_server
