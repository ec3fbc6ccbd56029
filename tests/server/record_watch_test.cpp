// Several servers on one storage: what one registers, grants, withdraws or removes counts on the others.
#include "server/record_watch.h"

#include <atomic>
#include <future>
#include <set>
#include <thread>

#include "server/administration.h"
#include "server/storage_unavailable.h"
#include "tests/server/served.h"

namespace index_server {
namespace {

/// The records of one server.
struct server_records {
    explicit server_records(engine& storage)
        : tokens(storage, "admin"), shares(storage, tokens), watch(storage, tokens, shares) {
        watch.start();
    }
    bool opens(const std::string& token, const share_access& which) const {
        const std::optional<grant> known = tokens.check(token);
        return known && known->covers(which.subclient_id) && shares.by_subclient(which.subclient_id);
    }
    bool opens(const share_access& which) const { return opens(which.token, which); }

    token_store tokens;
    share_registry shares;
    record_watch watch;
};

class record_watch_test : public testing::Test {
protected:
    struct knobs_of_shared_storage : engine_knobs {
        knobs_of_shared_storage() { is_shared = true; }
    };

    const scratch_directory scratch;
    const test_storage stored{scratch.path()};
    knobs_of_shared_storage knobs;
    knob_engine storage{stored.open(), knobs};
    server_records here{storage}, there{storage};
};

TEST_F(record_watch_test, what_another_server_changed_is_known_after_a_reading) {
    const share_access docs = here.shares.register_share("docs");
    EXPECT_FALSE(there.opens(docs));
    EXPECT_EQ(there.watch.share_of(docs.subclient_id)->root_guid, docs.root_guid);
    EXPECT_TRUE(there.opens(docs));

    // A grant that was extended elsewhere, and an extension of a token that was issued elsewhere.
    const share_access mail = here.shares.register_share("mail", docs.token);
    const std::optional<grant> known = there.tokens.check(docs.token);
    EXPECT_FALSE(known->covers(mail.subclient_id));
    EXPECT_TRUE(there.watch.grants(docs.token, *known, mail.subclient_id));
    const share_access scans = here.shares.register_share("scans");
    EXPECT_EQ(there.shares.register_share("mail", scans.token).subclient_id, mail.subclient_id);

    // A withdrawal reaches tokens that this server had never heard of.
    const std::string kept = there.tokens.replace(docs.subclient_id);
    here.watch.catch_up();
    EXPECT_FALSE(here.opens(docs));
    EXPECT_TRUE(here.opens(kept, docs));
    EXPECT_TRUE(here.opens(mail));

    storage.admin().withdraw_share(*here.shares.by_subclient(mail.subclient_id));
    EXPECT_TRUE(there.opens(scans.token, mail));
    there.watch.catch_up();
    EXPECT_FALSE(there.tokens.check(mail.token));
    EXPECT_FALSE(there.watch.share_of(mail.subclient_id));
}

TEST_F(record_watch_test, the_tokens_of_a_share_are_counted_over_all_servers) {
    const share_access docs = here.shares.register_share("docs");
    for (std::size_t count = 1; count < most_tokens_of_share; ++count)
        (count % 2 == 0 ? here : there).tokens.issue(docs.subclient_id);
    const share_access other = there.shares.register_share("other");
    EXPECT_THROW(here.tokens.issue(docs.subclient_id), too_many_tokens);
    EXPECT_THROW(here.tokens.extend(other.token, docs.subclient_id), too_many_tokens);
}

TEST_F(record_watch_test, one_reading_answers_all_that_came_before_it_and_a_failed_one_forgets_nothing) {
    const share_access docs = here.shares.register_share("docs");
    there.watch.stop();
    knobs.hold_all_readings(true);
    const std::size_t before = knobs.readings_now();
    auto first = std::async(std::launch::async, [&] { here.watch.catch_up(); });
    knobs.wait_until_read(before + 1);
    std::atomic<int> told = 0, current = 0;
    for (int i = 0; i < 50; ++i)
        here.watch.after_next_reading([&](bool is_current) { ++told, current += is_current; });
    EXPECT_EQ(told, 0) << "a reading under way may have passed what they ask for";
    knobs.hold_all_readings(false);
    first.get();
    here.watch.catch_up();
    EXPECT_EQ(current, 50);
    EXPECT_LT(knobs.readings_now(), before + 50);

    knobs.go_away(true);
    EXPECT_THROW(here.watch.catch_up(), storage_unavailable);
    EXPECT_THROW(here.tokens.issue(docs.subclient_id), storage_unavailable);
    EXPECT_TRUE(here.opens(docs));
    knobs.go_away(false);
    here.watch.catch_up();
    EXPECT_TRUE(here.opens(docs));
    here.watch.stop();
    EXPECT_THROW(here.watch.catch_up(), storage_unavailable) << "nobody would read for it";
}

class two_servers : public served {
protected:
    two_servers() {
        store_.is_shared = true;
        restart();
        server_settings settings = settings_;
        settings.data_dir = scratch_ / "second";
        second_ = std::make_unique<index_server>(settings);
        second_->start();
    }
    /// The status of a search of the share at the second server.
    long search(const std::string& token, const share_access& which) {
        std::swap(server_, second_);
        const answer got =
            post("/ZYWebService.svc/doWebSearch", token,
                 "<ZYSearchReq><filterSet><securityGroups><subclientIds>" + std::to_string(which.subclient_id) +
                     "</subclientIds></securityGroups></filterSet></ZYSearchReq>");
        std::swap(server_, second_);
        return got.body.find("errors") == std::string::npos ? got.status : 0;
    }

    std::unique_ptr<index_server> second_;
};

TEST_F(two_servers, a_request_is_refused_only_after_the_storage_was_asked) {
    const share_access scans = server_->register_share("scans");
    EXPECT_EQ(search(scans.token, scans), 200);
    EXPECT_EQ(search(scans.token + "0", scans), 401);
    EXPECT_EQ(search(scans.token, docs_), 403);
    ASSERT_EQ(
        post("/api/shares", server_->admin_token(), "{\"name\":\"docs\",\"token\":\"" + scans.token + "\"}").status,
        200);
    EXPECT_EQ(search(scans.token, docs_), 200);

    const share_access photos = server_->register_share("photos"), late = server_->register_share("late");
    EXPECT_EQ(search(second_->admin_token(), photos), 200);
    store_.go_away(true);
    EXPECT_EQ(search(photos.token + "0", photos), 503);
    EXPECT_EQ(search(scans.token, scans), 200);
    store_.go_away(false);

    // A body that is spooled while it arrives waits for the same.
    std::swap(server_, second_);
    const answer taken = submit(late, std::string(100000, 'x'));
    EXPECT_EQ(taken.status, 201);
    EXPECT_EQ(wait(late, taken.text("id")).number("status"), App::ProcessingStatus_COMPLETED);
    std::swap(server_, second_);
    EXPECT_EQ(last(late).text("id"), taken.text("id"));
}

TEST_F(two_servers, a_token_that_one_withdraws_ends_at_the_other_unasked) {
    EXPECT_EQ(search(docs_.token, docs_), 200);
    const std::string path = "/api/shares/" + std::to_string(docs_.subclient_id) + "/token";
    const answer fresh = post(path, server_->admin_token(), "{\"revoke\":true}");
    ASSERT_EQ(fresh.status, 200);
    long status = 200;
    for (int left = 600; left > 0 && status == 200; --left) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        status = search(docs_.token, docs_);
    }
    EXPECT_EQ(status, 401);
    EXPECT_EQ(search(fresh.text("token"), docs_), 200);
}

TEST(postgresql_servers, two_make_one_share_of_a_name_and_remove_one_share_together) {
    if (!test_storage::is_postgresql()) GTEST_SKIP() << "the embedded engine has one server alone";
    const scratch_directory scratch;
    const test_storage stored(scratch.path());
    const auto first = stored.open(), second = stored.open();
    for (int round = 0; round < 20; ++round) {
        const std::string name = "share " + std::to_string(round);
        std::set<std::string> roots;
        std::vector<std::future<share>> made;
        for (engine* const one : {first.get(), second.get(), first.get(), second.get()})
            made.push_back(std::async(std::launch::async, [one, name] { return one->register_share(name); }));
        for (std::future<share>& each : made)
            roots.insert(each.get().root_guid);
        EXPECT_EQ(roots.size(), 1u);
    }

    const share docs = first->register_share("docs");
    std::string lines;
    for (int i = 0; i < 9000; ++i)
        lines +=
            "*??|<ADD>|<IEXT>1|<VGID>v|<BAP>x|<EPG>f" + std::to_string(i % 3) + "|<EXTN>" + std::to_string(i) + "|\n";
    scratch.put("extents", lines);
    ASSERT_TRUE(first->apply_collect_file(docs, scratch / "extents").applied);
    second->admin().withdraw_share(docs);
    EXPECT_THROW(first->apply_collect_file(docs, scratch / "extents"), std::runtime_error);
    std::vector<std::future<void>> removals;
    for (engine* const one : {first.get(), second.get()}) {
        removals.push_back(std::async(std::launch::async, [one, &docs] {
            while (one->admin().remove_rows(docs.subclient_id)) {
            }
        }));
    }
    for (std::future<void>& each : removals)
        each.get();
    const share_rows left = first->admin().rows_of(docs);
    EXPECT_EQ(left.objects + left.versions + left.extents, 0u);
    EXPECT_TRUE(first->admin().withdrawn_shares().empty());
}

}  // namespace
}  // namespace index_server
