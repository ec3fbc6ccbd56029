// Searches that begin with a GUID, and searches for extents.
#include <algorithm>

#include "tests/server/engine_fixture.h"

namespace index_server {

namespace {

class engine_guid : public engine_fixture {
protected:
    static std::string added(const std::string& object, const std::string& version, long long second,
                             const std::string& parent, const std::string& name) {
        return "<ADD>|<VTIM>" + std::to_string(second * 1000000000) + "|<VGID>" + version + "|<BAP>" + object +
               (parent.empty() ? "" : "|<EPG>" + parent) + "|<LFN>" + name;
    }
    static std::string deleted(const std::string& object, const std::string& version, long long second) {
        return "<DEL>|<VGID>" + version + "|<BAP>" + object + "|<DTIM>" + std::to_string(second);
    }
    /// A version of an extent of the file "f".
    static std::string extent(long long number, const std::string& version, long long second,
                              const std::string& more = "") {
        return "<ADD>|<VTIM>" + std::to_string(second * 1000000000) + "|<VGID>" + version + "|<BAP>e" +
               std::to_string(number) + "|<EPG>f|<OTYP>1|<FS>" + std::to_string(100 + number) + more +
               "|<IEXT>1|<EXTN>" + std::to_string(number);
    }
    static std::string extent_gone(long long number, const std::string& version, long long second) {
        return "<DEL>|<VGID>" + version + "|<BAP>e" + std::to_string(number) + "|<EPG>f|<OTYP>1|<DTIM>" +
               std::to_string(second) + "|<IEXT>1|<EXTN>" + std::to_string(number);
    }
    /// "version path" of what a find by GUID gives the library's caller.
    std::string found(const std::string& guid, const asked& how = {}) {
        const auto items = ask(ask_for::guid, guid, how);
        return items.empty() || gone(items[0], how) ? "" : items[0].version + " " + items[0].path;
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
};

TEST_F(engine_guid, object_is_found_with_the_path_that_it_had_at_the_asked_moment) {
    const std::string root = docs.root_guid;
    apply({added("d", "d1", 5, root, "old"), added("o", "v1", 10, "d", "a"), added("o", "v2", 20, root, "b"),
           added("d", "d2", 30, root, "new"), added("p", "p1", 10, "d", "p")});
    EXPECT_EQ(found("o"), "v2 /b");
    EXPECT_EQ(found("o", {.at = 19}), "v1 /old/a");
    EXPECT_EQ(found("o", {.at = 9}), "");
    EXPECT_EQ(found("p"), "p1 /new/p");
    EXPECT_EQ(found("p", {.at = 29}), "p1 /old/p");
    EXPECT_EQ(found("p", {.at = 40, .after = 11}), "");
    EXPECT_EQ(found(root).substr(1), "") << "the root stands for itself, without a path below it";
    EXPECT_EQ(found("P") + found("never") + found(""), "");
    for (const char* path : {"/new/p", "/b"}) {
        const found_item by_path = ask(false, path)[0], by_guid = ask(ask_for::guid, by_path.object)[0];
        EXPECT_EQ(by_guid.path + by_guid.parent + by_guid.name, by_path.path + by_path.parent + by_path.name);
    }
    apply({deleted("o", "v2", 50)});
    EXPECT_EQ(found("o"), "");
    EXPECT_EQ(found("o", {.at = 60}), "") << "the older version does not come back";
    EXPECT_EQ(found("o", {.at = 49}), "v2 /b");
    apply({deleted("d", "d2", 70)});
    EXPECT_EQ(found("p"), "") << "gone with its directory";
    EXPECT_EQ(found("p", {.at = 69}), "p1 /new/p");
}

TEST_F(engine_guid, what_no_path_leads_to_is_found_without_one) {
    apply({added("o", "v1", 10, "lost", "a"), added("p", "v1", 10, "q", "p"), added("q", "v1", 10, "p", "q"),
           "<ADD>|<VGID>v1|<BAP>n"});
    EXPECT_EQ(found("o"), "v1 ");
    EXPECT_EQ(found("p"), "v1 ") << "a circle of parents ends";
    EXPECT_EQ(found("n"), "v1 ");
    EXPECT_EQ(ask(ask_for::guid_children, "lost")[0].name, "a");
    apply({added("lost", "v1", 20, docs.root_guid, "back")});
    EXPECT_EQ(found("o"), "v1 /back/a");
}

TEST_F(engine_guid, children_by_guid_are_those_of_its_path_and_survive_its_moves) {
    const auto names = [&](const asked& how = {}) {
        std::string text;
        for (const found_item& item : ask(ask_for::guid_children, "d", how)) {
            if (!gone(item, how)) text += item.path + " ";
        }
        return text;
    };
    const std::string root = docs.root_guid;
    apply({added("d", "d1", 5, root, "old"), added("o", "v1", 10, "d", "a"), added("p", "v1", 11, "d", "b"),
           added("o", "v2", 15, "d", "a"), added("d", "d2", 20, root, "new"), added("p", "v2", 30, root, "b")});
    EXPECT_EQ(names(), "/new/a ");
    EXPECT_EQ(names({.at = 12}), "/old/a /old/b ");
    EXPECT_EQ(names({.at = 25}), "/new/b /new/a ") << "by version time";
    EXPECT_EQ(names({.page_size = 1}), "/new/a ");
    EXPECT_EQ(ask(ask_for::guid_children, root).size(), 2u);
    apply({deleted("d", "d2", 40)});
    EXPECT_EQ(names(), "");
    EXPECT_EQ(ask(ask_for::guid_children, "d")[0].dtime, 40);
}

TEST_F(engine_guid, extents_come_once_each_in_the_newest_version_of_the_moment) {
    apply({added("f", "f1", 5, docs.root_guid, "file"), extent(10, "x1", 10), extent(2, "x1", 10, "|<EXTP>1"),
           extent(10, "x2", 20), extent(3, "x3", 30, "|<CPRP>custom_k:v"), extent_gone(2, "x1", 40)});
    EXPECT_EQ(extents(), "3:x3 10:x2 ");
    EXPECT_EQ(extents({.at = 15}), "2:x1 10:x1 ");
    EXPECT_EQ(extents({.at = 39}), "2:x1 3:x3 10:x2 ");
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
    EXPECT_EQ(extents(), "3:x3 ");
    EXPECT_EQ(extents({.at = 49}), "3:x3 10:x2 ");
    apply({extent(10, "x4", 60), deleted("f", "f1", 70)});
    EXPECT_EQ(extents({.at = 69}), "3:x3 10:x4 ");
    EXPECT_EQ(extents(), "") << "gone with their file";
    EXPECT_EQ(found("e3"), "") << "an extent is no object";
    EXPECT_EQ(ask(ask_for::extents, "e3").size() + ask(ask_for::extents, "").size(), 0u);
}

TEST_F(engine_guid, extents_to_back_up_are_those_of_the_share_ended_ones_last) {
    EXPECT_EQ(extents({}, ask_for::extents_to_back_up), "");
    const share other = store->register_share("other");
    apply(other, {extent(9, "other", 10)});
    apply({extent(1, "x1", 10), extent(2, "x1", 10), extent(1, "x2", 20), extent_gone(1, "x2", 30)});
    apply({extent(3, "x1", 5), extent(2, "x0", 5)});
    const std::string all = "2:x1 3:x1 1:x2 ";
    EXPECT_EQ(extents({}, ask_for::extents_to_back_up), all);
    apply({extent(1, "x2", 20)});
    EXPECT_EQ(extents({}, ask_for::extents_to_back_up), "2:x1 1:x2 3:x1 ") << "back to life in its former place";
    std::string paged;
    for (long long start = 0; start < 4; ++start)
        paged += extents({.page_size = 1, .page_start = start}, ask_for::extents_to_back_up);
    EXPECT_EQ(paged, "2:x1 1:x2 3:x1 ");
}

TEST_F(engine_guid, requests_that_mean_nothing_together_are_errors) {
    const auto changed = [&](ask_for what, const char* option, const char* value, const asked& how = {}) {
        auto made = request(docs, what, "o", how);
        if (*option != 0) add_option(made, option, value);
        return errors(made);
    };
    const std::string key = "zyurl_" + std::to_string(docs.subclient_id);
    EXPECT_EQ(changed(ask_for::path, "ENABLE_EXTENT_SEARCH", "true"),
              "not supported: ENABLE_EXTENT_SEARCH without PARENT_GUID or AFILEID\n");
    EXPECT_EQ(changed(ask_for::guid, "GROUP_RESULTS_BY", key.c_str()),
              "not supported: GROUP_RESULTS_BY in this search\n");
    EXPECT_EQ(changed(ask_for::guid_children, "GROUP_RESULTS_BY", "EXTENT_NUMBER"),
              "not supported: GROUP_RESULTS_BY in this search\n");
    for (const auto& [option, value] : {std::pair("SORTFIELD", "VERSION_TIME"),
                                        {"ENABLE_ALL_VERSIONS", "true"},
                                        {"GROUP_RESULTS_BY", "EXTENT_NUMBER"}}) {
        EXPECT_EQ(changed(ask_for::extents_to_back_up, option, value),
                  "not supported: AFILEID with a range, versions, groups or an order\n");
    }
    for (const auto& [value, mode] : {std::pair("*", 2), {"7", 4}}) {
        auto made = KT5ContentIndexing::ZYSearchReq();
        add_filter(made, "AFILEID", {value}, mode);
        add_option(made, "ENABLE_EXTENT_SEARCH", "true");
        EXPECT_NE(errors(made).find("not supported: AFILEID " + std::string(mode == 2 ? "2" : value)),
                  std::string::npos);
    }
    EXPECT_EQ(changed(ask_for::extents_to_back_up, "", ""), "");
}

}  // namespace

}  // namespace index_server
