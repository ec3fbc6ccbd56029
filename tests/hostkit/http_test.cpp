// HTTP exchanges: only a whole answer counts, a search takes nothing but status 200, and the token stays secret.
#include <gtest/gtest.h>

#include <cerrno>

#include "host/http.h"
#include "hostkit/http_exchange.h"
#include "tests/hostkit/loopback_server.h"
#include "tests/hostkit/server_settings.h"
#include "tests/support/scratch_directory.h"

namespace {

using namespace hostkit;
using after = scripted_reply::after;

loopback_server::handler always(std::string bytes, after then = after::keep) {
    return [bytes = std::move(bytes), then](std::size_t, const std::string&) { return scripted_reply{bytes, then}; };
}

/// One search exchange as the library does it.
struct search {
    CurlWrapperCache pool{75};
    std::string response = "from before";

    int run(const loopback_server& server, std::string request = "<q/>") {
        std::string url = server.url() + "ZYWebService.svc/doWebSearch";
        std::string extra;
        CurlWrapperCacheNode* node = pool.PopCurlWrapper();
        const int ret = GetCurlResponse2(node, url, request, extra, response);
        pool.PutCurlWrapper(node, ret < 0);
        return ret;
    }
};

TEST(search_exchange, posts_the_request_and_takes_the_whole_body) {
    loopback_server server([](std::size_t number, const std::string& request) {
        const std::string body = request.substr(request.find("\r\n\r\n") + 4);
        return scripted_reply{whole_answer(200, "<ZYSearchResp>" + body + std::to_string(number) + "</ZYSearchResp>")};
    });
    search search;
    EXPECT_EQ(0, search.run(server, "<a/>"));
    EXPECT_EQ("<ZYSearchResp><a/>0</ZYSearchResp>", search.response);
    EXPECT_EQ(0, search.run(server, std::string("\0<b/>", 5)));
    EXPECT_EQ(std::string("<ZYSearchResp>\0<b/>1</ZYSearchResp>", 35), search.response) << "assigned and not appended";
    EXPECT_TRUE(server.requests()[0].starts_with("POST /ZYWebService.svc/doWebSearch HTTP/1.1\r\n"));
}

TEST(search_exchange, what_is_no_whole_answer_of_status_200_leaves_nothing) {
    struct {
        const char* what;
        std::string bytes;
        after then;
    } const cases[] = {
        {"an error page", whole_answer(500, "<ZYSearchResp/>"), after::keep},
        {"a redirect", "HTTP/1.1 302 X\r\nLocation: /\r\nContent-Length: 0\r\n\r\n", after::keep},
        {"a cut body", "HTTP/1.1 200 X\r\nContent-Length: 20\r\n\r\n<ZYSearchResp/>", after::close},
        {"a cut chunk", "HTTP/1.1 200 X\r\nTransfer-Encoding: chunked\r\n\r\n14\r\n<ZYSearchResp/>", after::close},
        {"no length", "HTTP/1.1 200 X\r\n\r\n<ZYSearchResp/>", after::close},
        {"a page that claims success", whole_answer(200, "<html></html>"), after::keep},
        {"too large in chunks",
         "HTTP/1.1 200 X\r\nTransfer-Encoding: chunked\r\n\r\n1388\r\n" + std::string(5000, 'x') + "\r\n0\r\n\r\n",
         after::keep},
        {"silence in the body", "HTTP/1.1 200 X\r\nContent-Length: 20\r\n\r\n<ZYSearchResp/>", after::silence},
    };
    server_settings settings;
    settings.set("max_response_bytes", "4096");
    settings.set("total_timeout_ms", "300");
    for (const auto& bad : cases) {
        loopback_server server(always(bad.bytes, bad.then));
        search search;
        EXPECT_LT(search.run(server), 0) << bad.what;
        EXPECT_EQ("", search.response) << bad.what;
    }
}

TEST(plain_exchange, the_token_is_sent_and_never_told) {
    const scratch_directory scratch;
    scratch.put("token", "file-secret\n");
    server_settings settings;
    loopback_server server(always(whole_answer(200, "")));
    http_answer answer;
    const auto sent = [&](const http_request& request) {
        EXPECT_FALSE(http_exchange(request, answer).IsError());
        const std::string head = server.requests().back();
        const std::size_t at = head.find("Authorization: ");
        return at == std::string::npos ? "" : head.substr(at + 15, head.find("\r\n", at) - at - 15);
    };
    EXPECT_EQ("", sent({.url = server.url()}));
    settings.set("token_file", scratch / "token");
    EXPECT_EQ("Bearer file-secret", sent({.url = server.url()}));
    settings.set("token", "own-secret");
    EXPECT_EQ("Bearer own-secret", sent({.url = server.url()}));
    EXPECT_EQ("Bearer other", sent({.url = server.url(), .bearer_token = "other"}));
    EXPECT_EQ("", sent({.url = server.url(), .bearer_token = ""}));

    const CXoError error = http_exchange({.url = server.url(), .bearer_token = "secret\r\nX: y"}, answer);
    EXPECT_EQ(EINVAL, FXErrorUtil::GetErrNo(error));
    EXPECT_EQ(std::string::npos, error.AsString(EErrorOutputFormat::Full).find("secret"));
}

}  // namespace
