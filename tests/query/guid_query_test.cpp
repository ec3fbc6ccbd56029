// Queries by GUID and for extents: how their requests differ from those by path, and what each counts and reports.
#include "tests/support/share_test.h"

namespace {

class guid_query : public started_share {
protected:
    std::string last_request() { return request_text(host().http.requests.back()); }
    static std::string replaced(std::string text, const std::string& part, const std::string& by) {
        const std::size_t at = text.find(part);
        return at == std::string::npos ? "no " + part : text.replace(at, part.size(), by);
    }
    /// counters and query status
    std::string state() {
        return counter("finds") + counter("browse_children") + counter("browse_extents") + " " +
               share->get_query_status_msg();
    }
};

}  // namespace

TEST_F(guid_query, requests_are_those_by_path_but_for_the_key_and_are_never_case_folded) {
    for (const bool sensitive : {true, false}) {
        arguments.caseSensitiveSearch = sensitive;
        start_over();
        for (const long before : {0L, 7L}) {
            const auto without_case = [&](const std::string& text) {
                return sensitive ? text : replaced(text, "CASE_INSENSITIVE=true\n", "");
            };
            browse(by_path, "/g", before, 3);
            const std::string children = without_case(last_request());
            browse(by_guid, "/g", before, 3);
            EXPECT_EQ(last_request(), replaced(children, "BROWSE_PATH:2 /5/g", "PARENT_GUID:2 /g"));

            found("/g", before);
            const std::string one = without_case(last_request());
            found_guid("/g", before);
            EXPECT_EQ(last_request(), replaced(replaced(one, "EXACT_PATH:2 /5/g", "CONTENTID:2 /g"), "LIST=BACKUPTIME",
                                               "LIST=FAST_URL,BACKUPTIME"));
        }
    }
}

TEST_F(guid_query, extent_requests_have_options_of_their_own) {
    const std::string last_common = "NONWINDOWS_PLATFORM=true\n", search = "ENABLE_EXTENT_SEARCH=true\n";
    browse(by_guid, "f", 0, 3);
    std::string common = last_request();
    common.erase(common.find(last_common) + last_common.size());
    browse(extents, "f", 0, 3);
    const std::string extent_options = search +
                                       "GROUP_RESULTS_BY=EXTENT_NUMBER\nSORT_GROUPS_BY=VERSION_TIME\n"
                                       "SORT_ORDER_GROUPS_BY=desc\nGROUP_LIMIT=1\nSORTFIELD=EXTENT_NUMBER\n"
                                       "SORT_STYLE=Ascending\n";
    EXPECT_EQ(last_request(), common + extent_options);
    browse(extents, "f", 7, 3);  // the range, and nothing about all versions
    EXPECT_EQ(last_request(), replaced(common, " VTIME_SEC:2 3,10\n", " VTIME_SEC:2 3,7\n") + extent_options);
    browse_not_backedup();
    EXPECT_EQ(last_request(),
              replaced(replaced(common, " VTIME_SEC:2 3,10\n", ""), "PARENT_GUID:2 f", "AFILEID:4 *") + search);
}

TEST_F(guid_query, extents_carry_their_number_and_only_the_share_wide_browse_lists_deleted_ones) {
    const std::string extent = "path=/5/f name=f object=e parent=f version=v size=4 vtime=6 etype=1 ";
    host().http.standing.text =
        search_answer({extent + "enum=0 custom.EXTENT_SIZE=4096", extent + "enum=7 dtime=10", extent + "dtime=11"});
    EXPECT_EQ(browse(extents, "f"), 2);
    const std::string first = listed.substr(0, listed.find('\n'));
    EXPECT_EQ(first,
              "version=v object=e parent=f atime=0 ctime=0 mtime=0 vtime=6 etype=1 esize=4096 extent=1 enum=0 "
              "a=0 b=0 c=0");
    EXPECT_NE(listed.find(" dtime=11 "), std::string::npos);
    EXPECT_EQ(browse(extents, "f", 11), 1) << "the moment asked for decides";
    EXPECT_EQ(browse_not_backedup(), 3);
    EXPECT_NE(listed.find(" dtime=10 "), std::string::npos);

    const std::string full = search_answer(std::vector<std::string>(1000, extent));
    host().http.answers = {{0, full}, {0, search_answer({extent})}, {0, full}, {-3, ""}, {-3, ""}};
    EXPECT_EQ(browse(extents, "f"), 1001);
    EXPECT_EQ(browse(extents, "f"), 3);
    EXPECT_EQ(listed, "") << "all of a browse, or nothing";
}

TEST_F(guid_query, find_keeps_the_path_of_the_index_and_lays_pending_changes_over_it) {
    host().http.standing.text = search_answer({"path=/5/d/served name=other object=o size=1"});
    EXPECT_EQ(found_guid("o").substr(0, 31), "name=served path=/d/served obje");
    host().http.answers = {{0, search_answer({"name=kept object=o"})}};
    EXPECT_EQ(found_guid("o").substr(0, 10), "name=kept ") << "a name without a path stays";
    update("o", "path= size=3");
    EXPECT_EQ(record_of(found_guid("o")).size, 3);
    EXPECT_EQ(record_of(found_guid("o")).path, "/d/served");
    remove("o");
    EXPECT_EQ(found_guid("o"), "2");
}

TEST_F(guid_query, front_ends_count_and_report_each_in_its_way) {
    EXPECT_EQ(found_guid(nullptr) + found_guid(""), "2222");
    EXPECT_EQ(state(), "200 failed");
    index_iface_props untouched = record_of("name=before");
    EXPECT_EQ(share->find_by_path({}, untouched), 22);
    EXPECT_EQ(untouched.name, "before");
    EXPECT_EQ(share->browse_by_path({}, results), 22);
    EXPECT_EQ(browse(by_path, "/d"), 1);
    EXPECT_EQ(state(), "320 failed") << "a browse by path counts always and says nothing";
    found_guid("o");
    EXPECT_EQ(browse(by_guid, ""), -22);
    EXPECT_EQ(browse(extents, ""), -22);
    EXPECT_EQ(state(), "421 operational");
    share->clear_counters();
    add("o");
    host().http.requests.clear();
    for (const auto& [call, parent] : {std::pair(by_path, "/d"), {by_guid, "p1"}, {extents, "p1"}}) {
        break_delivery(1);
        EXPECT_EQ(browse(call, parent), -11);
        EXPECT_TRUE(host().http.requests.empty());
        cycle();
        add("o");
    }
    EXPECT_EQ(state(), "011 operational");
    EXPECT_EQ(browse(by_path, "/"), 1) << "children of the root ask for no delivery";
    EXPECT_EQ(browse_not_backedup(), 1) << "nor do all extents";
    EXPECT_EQ(browse(by_guid, "p2"), 1) << "nor does another directory";
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:1:v1");
    host().http.standing = {0, search_error(1, "")};
    EXPECT_EQ(browse_not_backedup(), -5);
    EXPECT_EQ(state(), "031 failed");
    host().http.standing = {0, search_answer({})};
    EXPECT_EQ(browse(extents, "f"), 0);
    EXPECT_EQ(state(), "032 operational");
}
