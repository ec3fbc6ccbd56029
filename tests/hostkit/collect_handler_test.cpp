// Collect transactions against a scripted service: what is sent, what each answer means, and how long a wait lasts.
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

#include "host/collect.h"
#include "hostkit/http_exchange.h"
#include "tests/hostkit/loopback_server.h"
#include "tests/hostkit/server_settings.h"
#include "tests/support/scratch_directory.h"

namespace {

scripted_reply says(int status, const std::string& body) {
    return {whole_answer(status, body)};
}

class collect : public testing::Test {
protected:
    collect() {
        scratch_.put("batch.zyf", "ADD:|one\n");
        settings_.set("collect_silence_ms", "30000");
        settings_.set("token", "share-token");
    }

    void listen(loopback_server::handler answer) {
        server_ = std::make_unique<loopback_server>(std::move(answer));
        handler_ =
            std::make_unique<CMarlCollectHandler>(0, 7, "host", server_->url(), "", nullptr, 12, "focus", "/jobs");
    }

    CXoError submit(const std::string& name = "batch.zyf") {
        return handler_->SubmitNewTransaction(status_, EScanJobType_INDEX_FEED, {scratch_ / name}, false);
    }

    CXoError wait() {
        return handler_->WaitForTransaction(status_, true, boost::shared_ptr<CHandleNewMarlFiles>(), no_abort_, 5,
                                            EScanJobType_INDEX_FEED);
    }

    /// Submits with the answer 201 and gives every request after that to `answer`.
    void submitted(loopback_server::handler answer) {
        listen([answer](std::size_t number, const std::string& request) {
            return number == 0 ? says(201, R"({"id":"t-1","status":1})") : answer(number, request);
        });
        ASSERT_FALSE(submit().IsError());
    }

    std::string request_line(std::size_t number) const {
        const std::string request = server_->requests().at(number);
        return request.substr(0, request.find("\r\n"));
    }

    const scratch_directory scratch_;
    const boost::shared_ptr<CAbortOperationCheck> no_abort_;
    server_settings settings_;
    std::unique_ptr<loopback_server> server_;
    std::unique_ptr<CMarlCollectHandler> handler_;
    App::ProcessingStatus status_ = App::ProcessingStatus_UNKNOWN;
};

TEST_F(collect, submits_the_file_and_waits_until_there_is_an_outcome) {
    submitted([](std::size_t number, const std::string&) {
        if (number == 1) return says(503, "");  // it is starting: an error that passes
        if (number == 4) return says(201, R"({"id":"t-2","status":1})");
        if (number == 5) return says(200, R"({"id":"t-2","status":4,"error":"line 3: no such tag"})");
        return says(200, number < 3 ? R"({"id":"t-1","status":2,"error":""})" : R"({"id":"t-1","status":3})");
    });
    EXPECT_EQ(App::ProcessingStatus_QUEUED, status_);
    EXPECT_EQ("POST /collect/transactions?subclient=7&client=12&job=0&type=28 HTTP/1.1", request_line(0));
    const std::string sent = server_->requests()[0];
    EXPECT_TRUE(sent.ends_with("\r\n\r\nADD:|one\n"));
    EXPECT_NE(std::string::npos, sent.find("Authorization: Bearer share-token\r\n"));

    EXPECT_FALSE(wait().IsError());
    EXPECT_EQ(App::ProcessingStatus_COMPLETED, status_);
    EXPECT_EQ(4u, server_->requests().size());
    EXPECT_TRUE(request_line(3).starts_with("GET /collect/transactions/t-1/wait?timeout_ms=")) << request_line(3);
    EXPECT_FALSE(submit().IsError());
    EXPECT_FALSE(wait().IsError()) << "a failed transaction is told by its status";
    EXPECT_EQ(App::ProcessingStatus_FAILED, status_);
}

TEST_F(collect, what_is_no_receipt_is_a_failed_submission_and_an_open_transaction_has_a_code_of_its_own) {
    struct {
        int status;
        const char* body;
        int number = EPROTO;
        bool still_open = false;
    } const answers[] = {{409, R"({"error":"still open","code":3021,"id":"t-0"})", EBUSY, true},
                         {401, R"({"error":"no token"})", EACCES},
                         {200, R"({"id":"t-1","status":1})", EIO},
                         {201, ""},
                         {201, R"({"id":"../x","status":1})"},
                         {201, R"({"id":"t-1","status":99})"},
                         {201, R"({"id":"t-1","status":"1"})"}};
    listen([&](std::size_t number, const std::string&) { return says(answers[number].status, answers[number].body); });
    for (const auto& answer : answers) {
        const CXoError error = submit();
        EXPECT_EQ(answer.number, FXErrorUtil::GetErrNo(error)) << answer.status << answer.body;
        EXPECT_EQ(answer.still_open, FXErrorUtil::IsZYResult(error, 3021)) << answer.body;
    }
    EXPECT_EQ(App::ProcessingStatus_UNKNOWN, status_);
    EXPECT_EQ(ENOENT, FXErrorUtil::GetErrNo(submit("missing")));
    EXPECT_TRUE(wait().IsError()) << "nothing was submitted";
    EXPECT_EQ(std::size(answers), server_->requests().size()) << "nothing was sent for what cannot be sent";
}

TEST_F(collect, a_wait_ends_when_asking_again_cannot_help_or_after_the_bound_of_silence) {
    const std::pair<int, int> answers[] = {{404, ENOENT}, {401, EACCES}, {200, EPROTO}};
    submitted([&](std::size_t number, const std::string&) {
        if (number == 4) hostkit::interrupt_exchanges(true);  // a leaving process ends what is under way
        if (number > 3) return scripted_reply{"", scripted_reply::after::silence};
        return says(answers[number - 1].first, "{}");
    });
    for (const auto& answer : answers)
        EXPECT_EQ(answer.second, FXErrorUtil::GetErrNo(wait())) << answer.first;
    EXPECT_EQ(ECANCELED, FXErrorUtil::GetErrNo(wait()));
    EXPECT_EQ(ECANCELED, FXErrorUtil::GetErrNo(wait()));
    hostkit::interrupt_exchanges(false);
    EXPECT_EQ(5u, server_->requests().size());
    settings_.set("collect_silence_ms", "100");
    EXPECT_EQ(ETIMEDOUT, FXErrorUtil::GetErrNo(wait()));
    server_.reset();
    EXPECT_EQ(ECONNREFUSED, FXErrorUtil::GetErrNo(wait()));
}

}  // namespace
