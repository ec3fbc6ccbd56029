// The JSON API: what it answers, and what it refuses.
#include <fstream>
#include <thread>

#include "server/administration.h"
#include "tests/server/served.h"
#include "tests/storage/test_storage.h"

namespace index_server {
namespace {

class admin_api_test : public served {
protected:
    answer admin_get(const std::string& path) { return get(path, server_->admin_token()); }
    answer admin_post(const std::string& path, const std::string& body) {
        return post(path, server_->admin_token(), body);
    }
    std::string at(const share_access& of, const std::string& verb = "") const {
        return "/api/shares/" + std::to_string(of.subclient_id) + verb;
    }
    std::size_t known_shares() {
        return boost::json::parse(admin_get("/api/shares").body).at("shares").as_array().size();
    }
};

TEST_F(admin_api_test, only_the_admin_token_opens_it) {
    const std::string paths[] = {"/api/shares", at(docs_), "/api/transactions", "/api/nothing"};
    for (const std::string& path : paths) {
        EXPECT_EQ(get(path, "").status, 401) << path;
        EXPECT_EQ(get(path, std::string(64, '0')).status, 401) << path;
        EXPECT_EQ(get(path, docs_.token).status, 403) << path;
    }
    for (const char* verb : {"/token", "/remove", "/backup-mark", "/purge", "/check"}) {
        EXPECT_EQ(post(at(docs_, verb), "", "{}").status, 401) << verb;
        EXPECT_EQ(post(at(docs_, verb), docs_.token, "{}").status, 403) << verb;
    }
    EXPECT_EQ(post("/api/backup", docs_.token, "{}").status, 403);
    EXPECT_EQ(known_shares(), 2u);
}

TEST_F(admin_api_test, what_cannot_be_understood_is_refused) {
    for (const char* query : {"limit=0", "limit=1001", "limit=x", "limit=1&limit=2", "after=zz", "after=0",
                              "after=31&after=31", "after=6162"}) {
        EXPECT_EQ(admin_get(std::string("/api/shares?") + query).status, 400) << query;
        EXPECT_EQ(admin_get(std::string("/api/transactions?") + query).status, 400) << query;
    }
    EXPECT_EQ(admin_get("/api/transactions?share=x").status, 400);
    EXPECT_EQ(admin_get("/api/transactions?share=1").status, 404);
    struct {
        const char *verb, *body;
    } const cases[] = {
        {"/token", "[]"},
        {"/token", "{\"revoke\":1}"},
        {"/token", "{\"other\":true}"},
        {"/remove", "{}"},
        {"/backup-mark", "{}"},
        {"/backup-mark", "{\"backup_id\":0}"},
        {"/backup-mark", "{\"backup_id\":1,\"after\":\"3a\"}"},
        {"/backup-mark", "{\"backup_id\":1,\"before\":\"now\"}"},
        {"/purge", "{}"},
        {"/purge", "{\"older_than\":-1}"},
        {"/purge", "{\"older_than\":99999999999}"},
        {"/purge", "{\"older_than\":1,\"after\":\"g0\"}"},
        {"/check", "{\"after\":5}"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(admin_post(at(docs_, one.verb), one.body).status, 400) << one.verb << one.body;
    EXPECT_EQ(admin_post("/api/backup", "{}").status, 400);
    EXPECT_EQ(admin_post("/api/backup", "{\"file\":\"relative\"}").status, 409);
    EXPECT_EQ(admin_post(at(docs_, "/remove"), "{\"name\":\"mail\"}").status, 409);
    for (const char* path : {"/api/shares/1", "/api/shares/x", "/api/shares/", "/api/shares/1/purge"})
        EXPECT_EQ(admin_get(path).status, 404) << path;
}

TEST_F(admin_api_test, lists_come_page_by_page) {
    for (int i = 0; i < 5; ++i) {
        const answer made = submit(docs_, "file " + std::to_string(i));
        wait(docs_, made.text("id"));
    }
    const answer refused = submit(mail_, "bad");
    wait(mail_, refused.text("id"));
    std::size_t seen = 0, pages = 0;
    for (std::string after;; ++pages) {
        const answer page = admin_get("/api/transactions?limit=2" + (after.empty() ? "" : "&after=" + after));
        const auto answered = boost::json::parse(page.body).as_object();
        for (const auto& one : answered.at("transactions").as_array()) {
            EXPECT_EQ(one.at("state").as_string(), seen == 0 ? "failed" : "completed");
            EXPECT_EQ(one.at("share").as_string(), seen == 0 ? "mail" : "docs");
            EXPECT_EQ(one.at("lines").to_number<int>(), seen == 0 ? 7 : 1);
            ++seen;
        }
        if (!answered.contains("after")) break;
        after = answered.at("after").as_string();
    }
    EXPECT_EQ(seen, 6u);
    EXPECT_EQ(pages, 3u);
    const answer of_mail = admin_get("/api/transactions?share=" + std::to_string(mail_.subclient_id));
    EXPECT_EQ(boost::json::parse(of_mail.body).at("transactions").as_array().size(), 1u);
    const answer first = admin_get("/api/shares?limit=1");
    const answer second = admin_get("/api/shares?limit=1&after=" + first.text("after"));
    EXPECT_NE(boost::json::parse(first.body).at("shares").at(0).at("name"),
              boost::json::parse(second.body).at("shares").at(0).at("name"));
    EXPECT_EQ(second.body.find("after"), std::string::npos);
}

TEST_F(admin_api_test, tokens_are_issued_and_withdrawn) {
    const answer more = admin_post(at(docs_, "/token"), "");
    ASSERT_EQ(more.status, 200);
    const std::string probe = "/collect/transactions/last?subclient=" + std::to_string(docs_.subclient_id);
    EXPECT_EQ(get(probe, more.text("token")).status, 404);
    EXPECT_EQ(get(probe, docs_.token).status, 404);
    const answer only = admin_post(at(docs_, "/token"), "{\"revoke\":true}");
    EXPECT_EQ(get(probe, more.text("token")).status, 401);
    EXPECT_EQ(get(probe, docs_.token).status, 401);
    EXPECT_EQ(get(probe, only.text("token")).status, 404);
    EXPECT_EQ(admin_get(at(docs_)).number("tokens"), 1);
}

TEST_F(admin_api_test, a_removed_share_is_gone_with_all_that_was_its_own) {
    store_.hold_applications();
    const answer running = submit(docs_, "held");
    store_.wait_until_applying(1);
    std::thread later([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        store_.let_go();
    });
    EXPECT_EQ(admin_post(at(docs_, "/remove"), "{\"name\":\"docs\"}").status, 200);
    later.join();
    EXPECT_EQ(submit(docs_, "more").status, 401);
    EXPECT_EQ(admin_get(at(docs_)).status, 404);
    EXPECT_EQ(known_shares(), 1u);
    EXPECT_TRUE(spooled().empty());
    const share_access again = server_->register_share("docs");
    EXPECT_NE(again.subclient_id, docs_.subclient_id);
    restart();
    EXPECT_EQ(known_shares(), 2u);
    EXPECT_EQ(submit(docs_, "more").status, 401);
    server_.reset();
    EXPECT_FALSE(stored()->transaction(running.text("id")));
}

TEST_F(admin_api_test, a_backup_is_an_index_of_its_own_and_overwrites_nothing) {
    const std::string file = scratch_ / "copy.db";
    const std::string body = "{\"file\":\"" + file + "\"}", forced = "{\"file\":\"" + file + "\",\"force\":true}";
    if (test_storage::is_postgresql()) {
        EXPECT_NE(admin_post("/api/backup", body).text("error").find("pg_dump"), std::string::npos);
        return;
    }
    ASSERT_EQ(admin_post("/api/backup", body).status, 200);
    EXPECT_EQ(admin_post("/api/backup", body).status, 409);
    EXPECT_EQ(admin_post("/api/backup", forced).status, 200);
    std::ofstream(file) << "a letter";
    EXPECT_EQ(admin_post("/api/backup", forced).status, 409);
    const std::string index = "{\"file\":\"" + settings_.data_dir + "/index.db\",\"force\":true}";
    EXPECT_EQ(admin_post("/api/backup", index).status, 409);
    EXPECT_EQ(known_shares(), 2u);
}

}  // namespace
}  // namespace index_server
