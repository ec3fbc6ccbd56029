// What probes, monitoring and the log learn of the server, and what they do not.
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <thread>

#include "hostkit/log.h"
#include "tests/server/served.h"

namespace index_server {
namespace {

/// The samples of an exposition by name and labels. Fails the test over any line that is none.
std::map<std::string, double> samples_of(const std::string& text) {
    static const std::regex comment(R"(# (HELP|TYPE) [a-z_]+ [^\n]+)");
    static const std::regex sample(R"(([a-z_]+(?:\{[a-z]+="[^"]*"(?:,[a-z]+="[^"]*")*\})?) ([-+.e0-9]+))");
    EXPECT_TRUE(text.ends_with('\n'));
    std::map<std::string, double> samples;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        if (std::regex_match(line, comment)) continue;
        EXPECT_TRUE(std::regex_match(line, parts, sample)) << line;
        EXPECT_TRUE(samples.emplace(parts[1], std::stod(parts[2])).second) << "twice: " << line;
    }
    return samples;
}

class metrics_test : public served {
protected:
    std::map<std::string, double> samples() {
        const answer got = get("/metrics", server_->admin_token());
        EXPECT_EQ(got.status, 200);
        return samples_of(got.body);
    }

    /// An answer arrives before it is counted, so this asks until the sample has the value.
    void expect_soon(const std::string& name, double value) {
        auto told = samples();
        for (int i = 0; i < 500 && told[name] < value; ++i, told = samples())
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(told[name], value) << name;
    }
};

TEST_F(metrics_test, requests_files_and_connections_are_counted) {
    const std::string good = submit(docs_, "good").text("id");
    wait(docs_, good);
    wait(docs_, submit(docs_, "bad").text("id"));
    get("/healthz", "");
    get("/nowhere", docs_.token);
    EXPECT_EQ(get("/metrics", docs_.token).status, 403);
    expect_soon("index_server_http_requests_total{route=\"collect_submit\",status=\"201\"}", 2);
    expect_soon("index_server_http_requests_total{route=\"unknown\",status=\"404\"}", 1);
    expect_soon("index_server_http_requests_total{route=\"metrics\",status=\"403\"}", 1);
    auto told = samples();
    EXPECT_EQ(told["index_server_http_received_bytes_total"], 7);
    EXPECT_EQ(told["index_server_collect_files_total{outcome=\"applied\"}"], 1);
    EXPECT_EQ(told["index_server_collect_files_total{outcome=\"failed\"}"], 1);
    EXPECT_EQ(told["index_server_collect_lines_total"], 1) << "a refused file has no lines in the index";
    EXPECT_EQ(told["index_server_shares"], 2);
    EXPECT_GE(told["index_server_connections"], 1);
    EXPECT_GT(told["index_server_database_bytes"], 0);
    EXPECT_EQ(told["index_server_spool_bytes"], 0);
}

TEST_F(metrics_test, health_follows_the_storage) {
    for (const bool away : {true, false}) {
        store_.go_away(away);
        answer got = get("/healthz", "");
        while (got.status != (away ? 503 : 200)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            got = get("/healthz", "");
        }
        EXPECT_EQ(got.body, away ? "the storage cannot be reached" : "ok");
    }
}

TEST_F(metrics_test, monitoring_may_have_a_token_that_opens_nothing_else) {
    const std::string token(40, 'm');
    settings_.metrics_token_file = scratch_ / "metrics_token";
    EXPECT_THROW(restart(), std::runtime_error) << "a file that is not there";
    scratch_.put("metrics_token", token + "\n");
    restart();
    EXPECT_EQ(get("/metrics", token).status, 200);
    EXPECT_EQ(get("/api/shares", token).status, 403);
    share_access posing = docs_;
    posing.token = token;
    EXPECT_EQ(submit(posing, "x").status, 403);
}

TEST_F(metrics_test, the_log_has_one_line_a_request_and_no_secrets) {
    hostkit::open_log({.level = 3, .file = scratch_ / "log"});
    get("/collect/transactions/last?subclient=" + std::to_string(docs_.subclient_id), docs_.token);
    submit(docs_, "good content");
    raw_client garbage(server_->port());
    garbage.send("GET /\n\n\n\r\n\r\n");
    garbage.read_to_end();
    server_.reset();
    g_ptrLogWriter.reset();
    std::ifstream file(scratch_ / "log");
    const std::string log(std::istreambuf_iterator<char>(file), {});
    const auto line = [](const std::string& rest) {
        return std::regex(R"(\S+Z \d+ 3 request peer=127\.0\.0\.1:\d+ )" + rest + R"( ms=\d+\.\d{3}\n)");
    };
    EXPECT_TRUE(std::regex_search(log, line("method=GET path=/collect/transactions/last route=collect_last status=404 "
                                            "received=0 sent=\\d+")))
        << log;
    EXPECT_TRUE(std::regex_search(log, line("method=POST path=/collect/transactions route=collect_submit status=201 "
                                            "received=12 sent=\\d+")));
    EXPECT_TRUE(std::regex_search(log, line("method=- path=- route=unread status=400 received=0 sent=\\d+")));
    for (const std::string& secret : {docs_.token, std::string("good content"), std::string("subclient=")})
        EXPECT_EQ(log.find(secret), std::string::npos) << secret;
}

}  // namespace
}  // namespace index_server
