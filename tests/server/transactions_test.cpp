// Collect transactions over HTTP: submit, wait, last, close, and what restarts and failures leave.
#include <algorithm>
#include <tuple>

#include "tests/server/served.h"

namespace index_server {
namespace {

constexpr long long completed = App::ProcessingStatus_COMPLETED;
constexpr long long failed = App::ProcessingStatus_FAILED;
constexpr long long closed = App::ProcessingStatus_CLOSED;
constexpr long long processing = App::ProcessingStatus_PROCESSING;
const std::string some_hex(32, 'a');

class transactions_test : public served {
protected:
    std::string submit_id(const share_access& to, const std::string& content) {
        const answer made = submit(to, content);
        EXPECT_EQ(made.status, 201) << made.body;
        return made.status == 201 ? made.text("id") : "";
    }
    std::future<answer> wait_later(const share_access& of, const std::string& id) {
        return std::async(std::launch::async, [this, &of, id] { return wait(of, id); });
    }
    std::vector<std::string> applied() {
        const std::lock_guard lock(store_.mutex);
        return store_.applied;
    }
};

TEST_F(transactions_test, a_file_is_applied_or_refused_and_its_outcome_told) {
    // Larger than one piece, and not a multiple of it; an empty file is a transaction, too.
    std::string content(300001, 'x');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 31 % 251);
    const std::tuple<std::string, long long, const char*> files[] = {{content, completed, ""},
                                                                     {"", completed, ""},
                                                                     {"bad", failed, "line 7: no such tag"},
                                                                     {"broken", failed, "the database is gone"},
                                                                     {"good", completed, ""}};
    EXPECT_EQ(last(docs_).status, 404);
    for (const auto& [sent, status, error] : files) {
        const std::string id = submit_id(docs_, sent);
        const answer outcome = wait(docs_, id);
        EXPECT_EQ(outcome.status, 200);
        EXPECT_EQ(outcome.number("status"), status) << error;
        EXPECT_NE(outcome.body.find(error), std::string::npos) << outcome.body;
        EXPECT_EQ(last(docs_).text("id"), id);
        EXPECT_TRUE(status == failed || applied().back() == sent);
        EXPECT_TRUE(spooled().empty());
    }
    EXPECT_EQ(wait(docs_, std::to_string(docs_.subclient_id) + "-" + some_hex).status, 404);
}

TEST_F(transactions_test, one_open_transaction_keeps_the_share_but_no_other_and_many_waiters_hold_up_nobody) {
    store_.hold_applications();
    const std::string first = submit_id(docs_, "one");
    const answer second = submit(docs_, "two");
    EXPECT_EQ(second.status, 409);
    EXPECT_EQ(second.number("code"), 3021);
    EXPECT_EQ(second.text("id"), first);
    submit_id(mail_, "other");
    store_.wait_until_applying(2);
    std::vector<std::future<answer>> waiters;
    for (int i = 0; i < 20; ++i)
        waiters.push_back(wait_later(docs_, first));
    EXPECT_EQ(wait(docs_, first, 1).number("status"), processing);
    EXPECT_EQ(last(docs_).number("status"), processing);
    store_.let_go();
    for (auto& waiter : waiters)
        EXPECT_EQ(waiter.get().number("status"), completed);
    EXPECT_EQ(std::ranges::count(applied(), "two"), 0);
}

TEST_F(transactions_test, of_two_files_that_arrive_at_once_one_is_taken) {
    store_.hold_applications();
    // Both pass the first look, since neither is whole.
    raw_client slow(server_->port());
    slow.send(head("POST " + collect_path(docs_), docs_, "Content-Length: 4\r\nExpect: 100-continue\r\n"));
    EXPECT_NE(slow.read_until("\r\n\r\n").find("100 Continue"), std::string::npos);
    const std::string taken = submit_id(docs_, "fast");
    slow.send("slow");
    EXPECT_NE(slow.read_until("}").find(taken), std::string::npos);
    store_.let_go();
    EXPECT_EQ(wait(docs_, taken).number("status"), completed);
    EXPECT_EQ(applied(), std::vector<std::string>{"fast"});
    EXPECT_TRUE(spooled().empty());
}

TEST_F(transactions_test, closing_drops_a_queued_one_and_waits_for_a_running_one) {
    store_.hold_applications();
    const share_access third = server_->register_share("third");
    const std::string running = submit_id(docs_, "runs");
    submit_id(mail_, "runs, too");
    store_.wait_until_applying(2);
    const std::string queued = submit_id(third, "never applied");
    std::future<answer> waiter = wait_later(third, queued);
    EXPECT_EQ(close(third, queued).number("status"), closed);
    EXPECT_EQ(waiter.get().number("status"), closed);
    EXPECT_EQ(close(third, queued).number("status"), closed);
    EXPECT_EQ(spooled().size(), 2u);
    const std::string again = submit_id(third, "applied");
    auto closer = std::async(std::launch::async, [&] { return close(docs_, running); });
    store_.let_go();
    EXPECT_EQ(closer.get().number("status"), completed);
    EXPECT_EQ(wait(third, again).number("status"), completed);
    EXPECT_EQ(std::ranges::count(applied(), "never applied"), 0);
}

TEST_F(transactions_test, a_start_settles_what_a_killed_server_left_before_it_answers) {
    const std::string whole = std::to_string(docs_.subclient_id) + "-" + some_hex;
    const std::string cut = std::to_string(mail_.subclient_id) + "-" + some_hex;
    const std::string stray = std::to_string(mail_.subclient_id) + "-" + std::string(32, 'b');
    const std::string passed = std::to_string(docs_.subclient_id) + "-" + std::string(32, 'c');
    server_.reset();
    stored()->put_transaction({passed, docs_.subclient_id, App::ProcessingStatus_QUEUED, "", 1});
    stored()->put_transaction({whole, docs_.subclient_id, App::ProcessingStatus_QUEUED, "", 1});
    stored()->put_transaction({cut, mail_.subclient_id, App::ProcessingStatus_QUEUED, "", 1});
    leave_file(passed + ".zyf", "sent again meanwhile");
    leave_file(whole + ".zyf", "spooled whole");
    leave_file(cut + ".zyf.part", "half");
    leave_file(stray + ".zyf", "never answered");  // its submitter was told nothing, and sends it again
    start();
    EXPECT_EQ(applied(), std::vector<std::string>{"spooled whole"});
    EXPECT_TRUE(spooled().empty());
    EXPECT_EQ(wait(docs_, whole).number("status"), completed);
    EXPECT_EQ(wait(docs_, passed).number("status"), failed);
    EXPECT_EQ(wait(mail_, cut).number("status"), failed);
}

TEST_F(transactions_test, nothing_is_promised_that_could_not_be_stored) {
    store_.refuse(App::ProcessingStatus_QUEUED);
    EXPECT_EQ(submit(docs_, "one").status, 500);
    EXPECT_TRUE(spooled().empty());
    // Nor is an outcome, and no later file gets past the one that would be applied again.
    store_.refuse(App::ProcessingStatus_COMPLETED);
    const std::string id = submit_id(docs_, "two");
    EXPECT_NE(wait(docs_, id, 300).number("status"), completed);
    EXPECT_EQ(submit(docs_, "three").text("id"), id);
    EXPECT_EQ(spooled(), std::vector<std::string>{id + ".zyf"});
    server_.reset();
    EXPECT_THROW(start(), std::runtime_error);
    store_.refuse(App::ProcessingStatus_UNKNOWN);
    start();
    EXPECT_EQ(wait(docs_, id).number("status"), completed);
    EXPECT_TRUE(spooled().empty());
}

}  // namespace
}  // namespace index_server
