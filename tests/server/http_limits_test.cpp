// What no well-meaning client sends, and the bounds that the server keeps.
#include "tests/server/served.h"

namespace index_server {
namespace {

using limits_test = served;

TEST_F(limits_test, garbage_and_excess_are_answered_and_cut_off) {
    const std::string post_search = head("POST /ZYWebService.svc/doWebSearch", docs_, "Content-Length: 2000000\r\n");
    const std::string without_length = head("POST " + collect_path(docs_), docs_, "");
    const std::string chunked = head("POST " + collect_path(docs_), docs_, "Transfer-Encoding: chunked\r\n");
    const std::string coded = head("GET /healthz", docs_, "Transfer-Encoding: chunked, identity\r\n");
    std::string many_fields, deep;
    for (int i = 0; i < 101; ++i)
        many_fields += "X" + std::to_string(i) + ": y\r\n";
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    struct {
        std::string bytes;
        const char* status;
    } const cases[] = {
        {"\x16\x03\x01\x02 not HTTP at all\r\n\r\n", "HTTP/1.1 400 "},
        {head("GET /healthz", docs_, "X: " + std::string(20000, 'x') + "\r\n"), "HTTP/1.1 431 "},
        {head("GET /healthz", docs_, many_fields), "HTTP/1.1 431 "},
        {post_search + std::string(150000, 'x'), "HTTP/1.1 413 "},
        {head("POST /ZYWebService.svc/doWebSearch", docs_, "Content-Length: 300000\r\n") + deep, "HTTP/1.1 400 "},
        {chunked + "5\r\nhello\r\n0\r\n\r\n", "HTTP/1.1 411 "},
        {coded + head("GET /healthz", docs_, ""), "HTTP/1.1 411 "},
        {head("POST " + collect_path(docs_), docs_, "Content-Length: 99999999999999999999\r\n"), "HTTP/1.1 400 "},
        {without_length, "HTTP/1.1 411 "},
        {head("POST " + collect_path(docs_), docs_, "Content-Length: 200000\r\n") + std::string(100000, 'x'), ""},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.bytes.substr(0, 60));
        raw_client client(server_->port());
        client.send(one.bytes);
        client.end_sending();
        EXPECT_EQ(client.read_to_end().rfind(one.status, 0), 0u);
    }
    EXPECT_EQ(get("/healthz", "").status, 200);
    EXPECT_TRUE(spooled().empty());
    EXPECT_EQ(last(docs_).status, 404) << "what was cut is no transaction";
}

TEST_F(limits_test, a_collect_file_has_a_longest_size_and_sound_parameters) {
    settings_.max_collect_bytes = 1000;
    restart();
    EXPECT_EQ(submit(docs_, std::string(1001, 'x')).status, 413);
    EXPECT_EQ(submit(docs_, std::string(1000, 'x')).status, 201);
    for (const char* query : {"?type=28", "?subclient=1&type=27", "?subclient=0&type=28", "?subclient=1x&type=28",
                              "?subclient=1&subclient=1&type=28", "?subclient=4294967297&type=28"}) {
        EXPECT_EQ(post(std::string("/collect/transactions") + query, docs_.token, "x").status, 400) << query;
    }
    EXPECT_EQ(post("/collect/transactions?subclient=77&type=28", server_->admin_token(), "x").status, 404);
}

TEST_F(limits_test, who_is_slower_than_allowed_is_cut_off) {
    settings_.header_timeout_ms = settings_.body_timeout_ms = settings_.idle_timeout_ms = 150;
    restart();
    const std::string begun = head("POST " + collect_path(docs_), docs_, "Content-Length: 100000\r\n");
    for (const std::string& sent : std::vector<std::string>{"", "GET /hea", begun, begun + std::string(70000, 'x'),
                                                            "GET / HTTP/1.1\r\nA: b\r\n"}) {
        SCOPED_TRACE(sent.substr(0, 60));
        raw_client slow(server_->port());
        slow.send(sent);
        EXPECT_EQ(slow.read_to_end(), "");
    }
    raw_client drip(server_->port());
    drip.drip("GET /healthz HTTP/1.1\r\nX: " + std::string(5000, 'x'));
    EXPECT_EQ(drip.read_to_end(), "") << "a byte now and then must not keep a head open";
    EXPECT_EQ(get("/healthz", "").status, 200);
    EXPECT_TRUE(spooled().empty());
}

class connections_test : public limits_test, public testing::WithParamInterface<bool> {};

TEST_P(connections_test, beyond_the_limit_are_closed) {
    (GetParam() ? settings_.max_connections : settings_.max_connections_per_address) = 2;
    restart();
    raw_client first(server_->port()), second(server_->port());
    for (raw_client* kept : {&first, &second, &first}) {
        kept->send(head("GET /healthz", docs_, ""));
        EXPECT_NE(kept->read_until("ok").find("200"), std::string::npos);
        if (kept == &second) {
            EXPECT_EQ(raw_client(server_->port()).read_to_end(), "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(of_all_and_of_one_address, connections_test, testing::Bool());

TEST_F(limits_test, a_directory_and_a_port_have_one_server) {
    index_server second(settings_);
    EXPECT_THROW(second.start(), std::runtime_error) << "two servers on one directory";
    settings_.data_dir = scratch_ / "another/one";
    server_settings taken = settings_;
    taken.port = server_->port();
    EXPECT_THROW(index_server(taken).start(), std::runtime_error);
}

}  // namespace
}  // namespace index_server
