// A PostgreSQL that goes away and comes back under a running engine and a running server.
#include <chrono>
#include <future>
#include <thread>

#include "server/storage_unavailable.h"
#include "tests/server/engine_fixture.h"
#include "tests/server/served.h"
#include "tests/storage/postgresql_server.h"

namespace index_server {

namespace {

constexpr const char* needs_postgresql = "the embedded engine has no server that could go away";

/// Tries until it works: after an outage the storage is tried at growing distances.
template <class Work>
bool works_in_the_end(const Work& work) {
    for (int left = 600; left > 0; --left) {
        if (work()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

std::int64_t number_of(const test_storage& storage, const char* sql) {
    const auto connection = storage.connect(sql_access::read);
    sql_statement statement(*connection, sql);
    const statement_run run(statement);
    return statement.step() ? statement.integer(0) : -1;
}

class postgresql_outage : public engine_fixture {
protected:
    std::string found() {
        try {
            return find("/a");
        } catch (const storage_unavailable&) {
            return "away";
        }
    }
};

TEST_F(postgresql_outage, a_restart_between_two_calls_is_not_noticed_and_an_outage_passes) {
    if (!test_storage::is_postgresql()) GTEST_SKIP() << needs_postgresql;
    postgresql_server& database = postgresql_server::of_process();
    ASSERT_TRUE(apply({"<ADD>|<VGID>v1|<BAP>o|<EPG>" + docs.root_guid + "|<LFN>a"}).applied);
    EXPECT_EQ(found(), "v1");
    database.stop();
    database.start();
    EXPECT_EQ(found(), "v1");
    EXPECT_TRUE(apply({"<UPD>|<VGID>v2|<BAP>o"}).applied);

    database.stop();
    EXPECT_EQ(found(), "away");
    EXPECT_THROW(apply({"<UPD>|<VGID>v3|<BAP>o"}), storage_unavailable);
    EXPECT_THROW(store->put_transaction(transaction_record()), storage_unavailable);
    database.start();
    EXPECT_TRUE(works_in_the_end([&] { return found() == "v2"; }));
    EXPECT_TRUE(works_in_the_end([&] {
        try {
            return apply({"<UPD>|<VGID>v3|<BAP>o"}).applied;
        } catch (const storage_unavailable&) {
            return false;
        }
    }));
    EXPECT_EQ(found(), "v3");
}

class postgresql_outage_of_server : public served {};

TEST_F(postgresql_outage_of_server, what_was_accepted_is_applied_when_the_storage_is_back_and_nothing_fails) {
    if (!test_storage::is_postgresql()) GTEST_SKIP() << needs_postgresql;
    postgresql_server& database = postgresql_server::of_process();
    store_.hold_applications();
    const std::string id = submit(docs_, "one").text("id");
    store_.wait_until_applying(1);
    database.stop();
    store_.let_go();
    EXPECT_EQ(submit(mail_, "two").status, 503);
    EXPECT_EQ(spooled(), std::vector<std::string>{id + ".zyf"}) << "a refused file is not kept";
    const long long meanwhile = wait(docs_, id, 100).number("status");
    EXPECT_TRUE(meanwhile == App::ProcessingStatus_QUEUED || meanwhile == App::ProcessingStatus_PROCESSING);
    database.start();
    EXPECT_EQ(wait(docs_, id).number("status"), App::ProcessingStatus_COMPLETED);
    EXPECT_EQ(last(docs_).text("id"), id);
    EXPECT_TRUE(works_in_the_end([&] { return submit(mail_, "two").status == 201; }));
}

TEST(postgresql_servers, two_on_one_database_feed_at_once_and_end_their_own_transactions_alone) {
    if (!test_storage::is_postgresql()) GTEST_SKIP() << needs_postgresql;
    const scratch_directory scratch;
    const test_storage storage(scratch.path());
    const auto first = open_postgresql_engine(storage.postgresql(), "first");
    const auto second = open_postgresql_engine(storage.postgresql(), "second");
    const share docs = first->register_share("docs");
    EXPECT_EQ(second->register_share("docs").subclient_id, docs.subclient_id);
    const share mail = second->register_share("mail");

    transaction_record taken;
    taken.id = "t";
    taken.subclient_id = docs.subclient_id;
    taken.status = App::ProcessingStatus_QUEUED;
    first->put_transaction(taken);
    EXPECT_EQ(first->open_transactions().size(), 1u);
    EXPECT_EQ(first->transaction("t")->status, App::ProcessingStatus_QUEUED);
    EXPECT_TRUE(second->open_transactions().empty());
    EXPECT_EQ(second->last_transaction(docs.subclient_id)->status, App::ProcessingStatus_FAILED);

    const auto feed = [&](engine& to, const share& target, const std::string& round) {
        std::string lines;
        for (int i = 0; i < 2000; ++i)
            lines += "*??|<UPD>|<VGID>" + round + "|<BAP>o" + std::to_string(i) + "|<EPG>" + target.root_guid +
                     "|<LFN>n" + std::to_string(i) + "|\n";
        const std::string name = round + std::to_string(target.subclient_id);
        scratch.put(name, lines);
        return to.apply_collect_file(target, scratch / name).applied;
    };
    std::vector<std::future<bool>> feeds;
    for (int round = 0; round < 4; ++round) {
        const std::string name = "r" + std::to_string(round);
        // The same objects of one share through both servers, and another share beside it.
        feeds.push_back(std::async(std::launch::async, feed, std::ref(*first), docs, name + "a"));
        feeds.push_back(std::async(std::launch::async, feed, std::ref(*second), docs, name + "b"));
        feeds.push_back(std::async(std::launch::async, feed, std::ref(*second), mail, name));
    }
    for (std::future<bool>& one : feeds)
        EXPECT_TRUE(one.get());
    EXPECT_EQ(number_of(storage, "SELECT count(*) FROM version WHERE vtime > 0"), 4 * 3 * 2000);
    EXPECT_EQ(number_of(storage, "SELECT count(*) FROM version WHERE state = 0 AND vtime > 0"), 2 * 2000);
}

TEST(postgresql_settings, a_bad_connection_string_is_refused_without_being_shown) {
    try {
        open_postgresql_engine("host=/nowhere password='s3cret", "test");
        FAIL() << "it was taken";
    } catch (const std::runtime_error& refusal) {
        EXPECT_EQ(std::string(refusal.what()).find("s3cret"), std::string::npos) << refusal.what();
    }
    EXPECT_THROW(open_postgresql_engine("host=/nowhere connect_timeout=1", "test"), storage_unavailable);
}

}  // namespace

}  // namespace index_server
