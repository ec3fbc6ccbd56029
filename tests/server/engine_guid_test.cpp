// Searches that begin with a GUID, and searches for extents.
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

TEST_F(engine_guid, what_no_path_leads_to_is_found_without_one) {
    apply({added("o", "v1", 10, "lost", "a"), added("p", "v1", 10, "q", "p"), added("q", "v1", 10, "p", "q"),
           "<ADD>|<VGID>v1|<BAP>n"});
    EXPECT_EQ(found("o") + found("p") + found("n"), "v1 v1 v1 ") << "and a circle of parents ends";
    EXPECT_EQ(ask(ask_for::guid_children, "lost")[0].name, "a");
    apply({added("lost", "v1", 20, "", "back")});
    EXPECT_EQ(found("o"), "v1 /back/a");
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

}  // namespace

}  // namespace index_server
