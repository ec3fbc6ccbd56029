// The road of a query by path: the request as it is sent, pages, failures, and what the caches change about it.
#include "hostkit/settings.h"
#include "tests/support/share_test.h"

namespace {

class path_query : public started_share {
protected:
    std::string last_request() { return request_text(host().http.requests.back()); }
    static std::string page(int count) {
        return search_answer(std::vector<std::string>(static_cast<std::size_t>(count), "path=/5/d/n name=n"));
    }
    void expect_requests(std::size_t count) {
        EXPECT_EQ(host().http.requests.size(), count);
        host().http.requests.clear();
    }
};

const std::string states = "0,1,2,12,13,14,15,16,17,1014,1016,2016,3334,3335";

std::string frame(const std::string& page) {
    return "page " + page + ", mode 4, keyword *:2, share 42 in SubClient, cloud 9 of idx\nbase 22\n CISTATE:0 " +
           states + "\nquery 22\n";
}

std::string defaults(const std::string& all_versions, bool cloud) {
    const std::string head =
        "BACKUPTIME,SIZEINKB,MODIFIEDTIME,CONTENTID,ZY_TURBO_GUID,AFILEID,AFILEOFFSET,REALMNO,FILE_NAME,FILE_FOLDER,"
        "DATA_TYPE,APPID,GLOBAL_TICKS,PARENT_GUID,CISTATE,IS_EXTENT_PRESENT,ENTITY_MODE,FILE_CHANGE_TIME,";
    const std::string middle =
        "OWNER,FILE_READACLS,FILE_ACCESSEDTIME,DATE_DELETED,EXTENT_NUMBER,VERSION_TIME,EXTENT_SIZE,";
    return " IS_VISIBLE:2 true\n@ DATA_TYPE:0 1,2,3,4,5,6,7,8\nENABLE_HIGHLIGHTING=false\nENABLE_NAVIGATION=off\n"
           "ENABLE_FOLDERBROWSE=off\nENABLE_DEFAULTFACETS=false\n" +
           all_versions + "RESPONSE_FIELD_LIST=" + head +
           (cloud ? middle + "LINK_TARGET,cust_*,EXTENDED_ATTR"
                  : "custom_*," + middle + "DELETED_TIME,LINK_TARGET,EXTENDED_ATTR") +
           "\nNONWINDOWS_PLATFORM=true\nENABLE_MIXEDVIEWSEARCH=true\n";
}

std::string with_path(std::string text, const std::string& filter) {
    return text.replace(text.find('@'), 1, " " + filter + "\n");
}

}  // namespace

TEST_F(path_query, requests_carry_filters_and_options_in_their_order) {
    arguments.subclient_id = 4294967338;  // cut to 32 bits, but whole in the group key
    hostkit::process_settings().set("identity", "client_id.4294967338", "77");
    start_over();
    const std::string newest = "SORTFIELD=VERSION_TIME\nSORT_STYLE=desc\n",
                      oldest = "SORTFIELD=VERSION_TIME\nSORT_STYLE=Ascending\n";
    const std::string versions = "ENABLE_ALL_VERSIONS=true\n";
    EXPECT_EQ(last_request(), frame("1 from 0") + with_path(defaults("", false), "EXACT_PATH:2 /5") + newest);
    found("/d/a", 7);
    EXPECT_EQ(last_request(), frame("1 from 0") + " VTIME_SEC:2 0,7\n" +
                                  with_path(defaults(versions, false), "EXACT_PATH:2 /5/d/a") + newest);
    browse(by_path, "/");
    EXPECT_EQ(last_request(), frame("1000 from 0") + with_path(defaults("", false), "BROWSE_PATH:2 /5") + oldest);
    const std::string groups = "_4294967338\nSORT_GROUPS_BY=VERSION_TIME\nSORT_ORDER_GROUPS_BY=desc\nGROUP_LIMIT=1\n";
    browse(by_path, "/d", 7, 3);
    EXPECT_EQ(last_request(), frame("1000 from 0") + " VTIME_SEC:2 3,7\n" +
                                  with_path(defaults(versions, false), "BROWSE_PATH:2 /5/d") +
                                  "GROUP_RESULTS_BY=zyurl" + groups + oldest);
    arguments.caseSensitiveSearch = false;
    start_over();
    reach::is_solr_cloud(*share) = true;
    reach::sync_folder(*share) = "/";
    browse(by_path, "/d", 7);
    EXPECT_EQ(last_request(), frame("1000 from 0") + " VTIME_SEC:2 0,7\n" +
                                  with_path(defaults(versions, true), "BROWSE_PATH:2 //d") + "CASE_INSENSITIVE=true\n" +
                                  "GROUP_RESULTS_BY=FilePathHash" + groups + oldest);
}

TEST_F(path_query, pages_go_on_while_they_are_full_and_succeed_or_fail_as_one) {
    host().http.standing.text = page(0);
    for (const auto& [children, exchanges] : {std::pair(0, 1u), {999, 1u}, {1000, 2u}, {1001, 2u}}) {
        host().http.requests.clear();
        for (int rest = children; rest > 0; rest -= 1000)
            host().http.answers.push_back({0, page(std::min(rest, 1000))});
        EXPECT_EQ(browse(by_path, "/d"), children);
        for (std::size_t i = 0; i < host().http.requests.size(); ++i) {
            EXPECT_TRUE(
                request_text(host().http.requests[i]).starts_with("page 1000 from " + std::to_string(i * 1000) + ","));
        }
        expect_requests(exchanges);
    }
    // Results that do not count still fill their page.
    std::vector<std::string> some_gone(1000, "name=n dtime=1");
    some_gone[500] = "name=left path=/5/d/left";
    host().http.answers = {{0, search_answer(some_gone)}, {0, search_answer({"name=more"})}};
    EXPECT_EQ(browse(by_path, "/d"), 2);
    EXPECT_TRUE(listed.starts_with("name=left ") && listed.find("\nname=more ") != std::string::npos) << listed;

    host().http.answers = {{0, page(1000)}, {0, search_error(77, "no")}};
    results.push_back(new index_iface_props);  // the caller's own goes with the rest
    EXPECT_EQ(browse(by_path, "/d"), -5);
    EXPECT_EQ(listed, "");
}

TEST_F(path_query, exchange_is_tried_twice_and_every_handle_goes_back) {
    auto& http = host().http;
    const std::string good = search_answer({"path=/5/D/A name=A object=o", "path=/5/x object=second"});
    struct row {
        std::deque<scripted::answer> answers;
        int handles;
        const char* result;
        std::vector<bool> puts;
    };
    const row rows[] = {
        {{{-3, "half"}, {0, good}}, 9, "found", {true, false}},
        {{{-3, ""}, {-4, ""}}, 9, "-4", {true, true}},
        {{{-3, ""}}, 1, "-3", {true}},
        {{{0, "<html>no such page</html>"}}, 9, "5", {false}},
        {{{0, search_answer({})}}, 9, "2", {false}},
    };
    for (const row& r : rows) {
        http.answers = r.answers;
        http.handles = r.handles;
        http.puts.clear();
        const std::string result = found("/d/a");
        EXPECT_EQ(result.starts_with("name=a path=/d/a object=o ") ? "found" : result, r.result);
        EXPECT_EQ(http.puts, r.puts);
        EXPECT_EQ(share->get_query_status_msg(), result.size() > 2 ? "operational" : "failed");
    }
    http.handles = 9;
    http.answers = {{0, "<html>"}};
    EXPECT_EQ(browse(by_path, "/d"), 0);  // a text that cannot be read is an empty page
}

TEST_F(path_query, find_lays_what_is_pending_over_the_answer) {
    host().http.standing.text = search_answer({"path=/5/d/o name=served object=o size=1 mtime=2"});
    EXPECT_EQ(record_of(found("/d/o")).size, 1);
    update("o", "size=3 custom.k=v");
    const index_iface_props merged = record_of(found("/d/o"));
    EXPECT_EQ(std::to_string(merged.size) + merged.custom_props.at("k") + std::to_string(merged.mtime), "3v2");
    host().http.answers = {{-3, ""}, {-3, ""}};
    EXPECT_EQ(found("/d/o"), "-3");  // an update alone is not the object
    host().http.requests.clear();
    remove("o");
    EXPECT_EQ(found("/d/o"), "2");
    add("o", "size=9");
    EXPECT_EQ(found("/d/o"),
              "op=ADD name=o path=/d/o version=v1 object=o parent=p1 size=9 vtime=5000000000 sec=5 extent=0");
    expect_requests(0);
    reach::cur_cache(*share)->last->props->idx_ops = index_iface_props::REN;
    EXPECT_EQ(record_of(found("/d/o")).size, 9);  // merged over the answer
    rotate();
    EXPECT_EQ(record_of(found("/d/o")).size, 1);  // not merged once it stands alone in the waiting cache
}
