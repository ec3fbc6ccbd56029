// Tokens, registration, management and search over HTTP: who may ask what, and what comes back.
#include <fstream>

#include <sys/stat.h>

#include "server/token_store.h"
#include "tests/server/served.h"

namespace index_server {
namespace {

using access_test = served;

std::string search_of(std::int64_t subclient_id) {
    return "<ZYSearchReq><filterSet><securityGroups><subclientIds>" + std::to_string(subclient_id) +
           "</subclientIds></securityGroups></filterSet></ZYSearchReq>";
}

std::string client_properties_of(std::int64_t client_id) {
    return "<GetClientPropertiesRequest><clientList><entities entityType='3' entityId='" + std::to_string(client_id) +
           "'/></clientList></GetClientPropertiesRequest>";
}

std::string engine_of(std::int64_t client_id) {
    return "<AnalyticsEngineClientID engineName='NFS Index'><client clientId='" + std::to_string(client_id) +
           "'/></AnalyticsEngineClientID>";
}

std::string folder_of(const std::string& index_server_name) {
    return "<GetSyncWebFolderReq requestFlag='1'><user userName='" + index_server_name + "'/></GetSyncWebFolderReq>";
}

const char* const search_path = "/ZYWebService.svc/doWebSearch";
const char* const client_tag = "/management/516377915";
const char* const engine_tag = "/management/223303891";
const char* const folder_tag = "/management/509216237";

TEST_F(access_test, each_token_opens_its_own_share_and_the_admins_opens_all) {
    const std::string admin = server_->admin_token();
    const std::string docs_wait = "/collect/transactions/" + std::to_string(docs_.subclient_id) + "-" +
                                  std::string(32, 'a') + "/wait?timeout_ms=0";
    const std::string docs_last = "/collect/transactions/last?subclient=" + std::to_string(docs_.subclient_id);
    struct {
        std::string path, body;  // an empty body: GET
        long owner, other, admin;
    } const cases[] = {
        {search_path, search_of(docs_.subclient_id), 200, 403, 200},
        {client_tag, client_properties_of(docs_.client_id), 200, 403, 200},
        {folder_tag, folder_of(docs_.index_server_name), 200, 403, 200},
        {engine_tag, engine_of(1), 200, 200, 200},
        {collect_path(docs_), "bad", 201, 403, 201},
        {docs_wait, "", 404, 403, 404},
        {docs_last, "", 200, 403, 200},
        {"/api/shares", "", 403, 403, 200},
        {"/api/shares", "{\"name\":\"new\"}", 403, 403, 200},
        {"/nowhere", "", 404, 404, 404},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.path);
        const auto ask = [&](const std::string& token) {
            const answer got = one.body.empty() ? get(one.path, token) : post(one.path, token, one.body);
            if (got.status == 201) wait(docs_, got.text("id"));
            return got.status;
        };
        EXPECT_EQ(ask(""), 401);
        EXPECT_EQ(ask(docs_.token.substr(1) + "0"), 401);
        EXPECT_EQ(ask(docs_.token), one.owner);
        EXPECT_EQ(ask(mail_.token), one.other);
        EXPECT_EQ(ask(admin), one.admin);
    }
    EXPECT_EQ(get("/healthz", "").body, "ok");
}

TEST_F(access_test, tokens_and_the_admin_file_outlive_a_restart_and_are_kept_safe) {
    const share_access again = server_->register_share("docs");
    EXPECT_EQ(again.subclient_id, docs_.subclient_id);
    EXPECT_NE(again.token, docs_.token);
    const std::string admin = server_->admin_token();
    restart();
    EXPECT_EQ(server_->admin_token(), admin);
    for (const std::string& token : {docs_.token, again.token, admin}) {
        EXPECT_EQ(post(search_path, token, search_of(docs_.subclient_id)).status, 200);
    }
    struct stat info {};
    const std::string file = settings_.data_dir + "/admin_token";
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    server_.reset();
    for (const token_grant& grant : stored()->tokens())
        EXPECT_NE(grant.hash, again.token);
    std::ofstream(file) << "short\n";
    EXPECT_THROW(start(), std::runtime_error);
}

TEST_F(access_test, shares_are_registered_over_http) {
    const std::string admin = server_->admin_token();
    const answer made = post("/api/shares", admin, "{\"name\":\"caf\\u00e9 \\\"1\\\"\"}");
    ASSERT_EQ(made.status, 200);
    EXPECT_EQ(made.text("name"), "caf\xc3\xa9 \"1\"");
    EXPECT_EQ(post(search_path, made.text("token"), search_of(made.number("subclient_id"))).status, 200);
    const answer list = get("/api/shares", admin);
    EXPECT_EQ(boost::json::parse(list.body).at("shares").as_array().size(), 3u);
    EXPECT_EQ(list.body.find("token"), std::string::npos);
    for (const char* body :
         {"", "[]", "{\"name\":1}", "{\"name\":\"a/b\"}", "{\"name\":\"..\"}", "{\"name\":\"a\\nb\"}",
          "{\"name\":\"a\",\"more\":1}", "{\"name\":\"a\",\"token\":1}", "{\"name\":\"a\",\"token\":\"unknown\"}"}) {
        EXPECT_EQ(post("/api/shares", admin, body).status, 400) << body;
    }
    EXPECT_EQ(post("/api/shares", admin, "{\"name\":\"" + std::string(129, 'n') + "\"}").status, 400);
}

TEST_F(access_test, one_token_may_grant_the_shares_of_one_process) {
    const std::string admin = server_->admin_token();
    const auto ask = [&](const std::string& token) {
        return post("/api/shares", admin, "{\"name\":\"mail\",\"token\":\"" + token + "\"}");
    };
    EXPECT_EQ(post(search_path, docs_.token, search_of(mail_.subclient_id)).status, 403);
    for (int round = 0; round < 2; ++round) {
        const answer both = ask(docs_.token);
        EXPECT_EQ(both.text("token"), docs_.token);
        EXPECT_EQ(both.number("subclient_id"), mail_.subclient_id);
        for (const share_access& granted : {docs_, mail_}) {
            EXPECT_EQ(post(search_path, docs_.token, search_of(granted.subclient_id)).status, 200);
        }
        EXPECT_EQ(post(search_path, mail_.token, search_of(docs_.subclient_id)).status, 403);
        restart();
    }
    EXPECT_EQ(ask(admin).status, 400);
}

TEST_F(access_test, the_tokens_of_a_share_are_bounded_and_can_be_withdrawn) {
    const auto opens = [&](const std::string& token, const share_access& which) {
        return post(search_path, token, search_of(which.subclient_id)).status == 200;
    };
    const std::string admin = server_->admin_token();
    ASSERT_EQ(post("/api/shares", admin, "{\"name\":\"mail\",\"token\":\"" + docs_.token + "\"}").status, 200);
    std::string last = docs_.token;
    for (std::size_t count = 1; count < most_tokens_of_share; ++count)
        last = server_->register_share("docs").token;
    EXPECT_TRUE(opens(last, docs_));
    EXPECT_EQ(post("/api/shares", admin, "{\"name\":\"docs\"}").status, 409);
    EXPECT_TRUE(opens(docs_.token, docs_)) << "a host in use must not lose its token to one too many";
    server_.reset();
    std::string fresh;
    {
        const std::unique_ptr<engine> storage = stored();
        token_store tokens(*storage, admin);
        fresh = tokens.replace(docs_.subclient_id);
        EXPECT_FALSE(tokens.check(last));
    }
    start();
    EXPECT_TRUE(opens(fresh, docs_) && !opens(last, docs_) && !opens(docs_.token, docs_));
    EXPECT_TRUE(opens(docs_.token, mail_)) << "only the one share was taken away";
}

}  // namespace
}  // namespace index_server
