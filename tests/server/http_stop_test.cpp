// A stop: what is under way is answered, what is new is refused with words, and nothing is lost.
#include <future>

#include "tests/server/served.h"

namespace index_server {
namespace {

class stop_test : public served {
protected:
    void stop_in_the_background() {
        stopped_ = std::async(std::launch::async, [this] { server_->stop(); });
    }

    std::future<void> stopped_;
};

TEST_F(stop_test, new_requests_are_refused_until_the_last_one_is_answered) {
    store_.hold_applications();
    submit(docs_, "held");
    store_.wait_until_applying(1);
    raw_client slow(server_->port());
    slow.send(head("POST /ZYWebService.svc/doWebSearch", docs_, "Content-Length: 20\r\nExpect: 100-continue\r\n"));
    slow.read_until("100 Continue\r\n\r\n");
    slow.send("<ZYSearch");
    raw_client idle(server_->port());
    idle.send(head("GET /healthz", docs_, ""));
    EXPECT_NE(idle.read_until("ok").find("200"), std::string::npos);
    stop_in_the_background();
    EXPECT_EQ(idle.read_to_end(), "") << "a connection without a request is ended at once";
    raw_client late(server_->port());
    late.send(head("GET /healthz", docs_, ""));
    const std::string refusal = late.read_to_end();
    EXPECT_EQ(refusal.rfind("HTTP/1.1 503 ", 0), 0u);
    EXPECT_NE(refusal.find("Connection: close\r\n"), std::string::npos) << refusal;
    slow.send("Req></x>...");
    EXPECT_EQ(slow.read_to_end().rfind("HTTP/1.1 400 ", 0), 0u) << "this one was under way, and is worked on";
    store_.let_go();
    stopped_.get();
    EXPECT_EQ(store_.applied, std::vector<std::string>{"held"});
    restart();
    EXPECT_EQ(last(docs_).number("status"), App::ProcessingStatus_COMPLETED);
}

TEST_F(stop_test, who_never_ends_a_request_does_not_hold_up_the_stop) {
    settings_.stop_timeout_ms = 100;
    restart();
    raw_client stuck(server_->port());
    stuck.send(head("POST " + collect_path(docs_), docs_, "Content-Length: 20\r\nExpect: 100-continue\r\n"));
    stuck.read_until("100 Continue\r\n\r\n");
    stuck.send("half");
    server_->stop();
    EXPECT_EQ(stuck.read_to_end(), "");
    EXPECT_TRUE(spooled().empty());
}

}  // namespace
}  // namespace index_server
