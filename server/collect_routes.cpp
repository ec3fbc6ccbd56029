// Submit, wait, last and close of collect transactions.
#include "server/collect_routes.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include <boost/json.hpp>

#include "server/query_text.h"

namespace index_server {

namespace {

constexpr int index_feed_type = 28;
/// The service's code for "an earlier transaction is still open".
constexpr int still_open_code = 3021;

http_plan answered(http_reply reply) {
    http_plan plan;
    plan.reply = std::move(reply);
    return plan;
}

http_reply still_open(const std::string& id) {
    http_reply reply = error_reply(409, "an earlier transaction of the share is still open");
    reply.body = boost::json::serialize(boost::json::object{
        {"error", "an earlier transaction of the share is still open"}, {"code", still_open_code}, {"id", id}});
    return reply;
}

http_reply told(const std::optional<transaction_record>& record) {
    if (!record) return error_reply(404, "no such transaction");
    return {200, boost::json::serialize(boost::json::object{
                     {"id", record->id}, {"status", static_cast<int>(record->status)}, {"error", record->error}})};
}

/// Spools a submitted file.
class submit_target : public body_target {
public:
    submit_target(transactions& collects, std::int64_t subclient_id)
        : collects_(collects), subclient_id_(subclient_id), file_(collects.make_file(subclient_id)) {}

    void write(const char* data, std::size_t size) override { file_->write(data, size); }

    void finish(const reply_sink& reply) override {
        try {
            const submission made = collects_.submit(*file_, subclient_id_);
            if (!made.accepted) {
                reply(still_open(made.id));
                return;
            }
            reply({201, boost::json::serialize(
                            boost::json::object{{"id", made.id}, {"status", static_cast<int>(made.status)}})});
        } catch (const is_stopping&) {
            reply(error_reply(503, "the server is stopping"));
        } catch (const is_retired&) {
            reply(error_reply(404, "no such share"));
        }
    }

private:
    transactions& collects_;
    std::int64_t subclient_id_;
    std::unique_ptr<spool_file> file_;
};

http_plan plan_submit(const http_head& head, const grant& asker, const server_settings& settings,
                      const share_registry& shares, transactions& collects) {
    const query_text query(head.query);
    const auto subclient = query.number("subclient", 1, std::numeric_limits<std::int32_t>::max());
    const auto type = query.number("type", index_feed_type, index_feed_type);
    if (!subclient || !type) return answered(error_reply(400, "subclient or type is missing or out of range"));
    if (!asker.covers(*subclient)) return answered(error_reply(403, "the token does not grant this share"));
    if (!shares.by_subclient(*subclient)) return answered(error_reply(404, "no such share"));
    // Without a length there is no telling whether the file arrived whole.
    if (!head.body_bytes) return answered(error_reply(411, "Content-Length is required"));
    // Asked before the file travels; asked again when it is there.
    if (const auto open = collects.open_of(*subclient)) return answered(still_open(open->id));
    http_plan plan;
    plan.target = std::make_unique<submit_target>(collects, *subclient);
    plan.most_body_bytes = settings.max_collect_bytes;
    plan.work_lane = lane::collect;
    return plan;
}

http_plan plan_last(const http_head& head, const grant& asker, transactions& collects) {
    const auto subclient = query_text(head.query).number("subclient", 1, std::numeric_limits<std::int32_t>::max());
    if (!subclient) return answered(error_reply(400, "subclient is missing or out of range"));
    if (!asker.covers(*subclient)) return answered(error_reply(403, "the token does not grant this share"));
    http_plan plan;
    plan.work_lane = lane::collect;
    plan.run = [&collects, id = *subclient](const std::string&, const reply_sink& reply) {
        reply(told(collects.last(id)));
    };
    return plan;
}

/// Wait and close, which both answer with what became of the transaction.
http_plan plan_outcome(const http_head& head, const std::string& id, bool close, const server_settings& settings,
                       transactions& collects) {
    const std::int64_t longest = settings.longest_wait_ms;
    std::int64_t limit = longest;
    if (!close) {
        const auto asked = query_text(head.query).number("timeout_ms", 0, std::numeric_limits<std::int64_t>::max());
        if (!asked) return answered(error_reply(400, "timeout_ms is missing or out of range"));
        limit = std::min(*asked, longest);
    }
    http_plan plan;
    plan.work_lane = lane::collect;
    plan.run = [&collects, id, close, limit](const std::string&, const reply_sink& reply) {
        const auto done = [reply](const std::optional<transaction_record>& record) { reply(told(record)); };
        if (close) {
            collects.close(id, std::chrono::milliseconds(limit), done);
        } else {
            collects.wait(id, std::chrono::milliseconds(limit), done);
        }
    };
    return plan;
}

}  // namespace

http_plan plan_collect(const http_head& head, const std::string& rest, const grant& asker,
                       const server_settings& settings, const share_registry& shares, transactions& collects) {
    if (rest.empty() && head.method == "POST") return plan_submit(head, asker, settings, shares, collects);
    if (rest == "/last" && head.method == "GET") return plan_last(head, asker, collects);
    const std::size_t slash = rest.find('/', 1);
    const std::string verb = slash == std::string::npos ? "" : rest.substr(slash);
    const bool wait = verb == "/wait" && head.method == "GET";
    const bool close = verb == "/close" && head.method == "POST";
    if (!wait && !close) return answered(error_reply(404, "no such endpoint"));
    const std::string id = rest.substr(1, slash - 1);
    const auto subclient = transactions::subclient_of(id);
    if (!subclient) return answered(error_reply(404, "no such transaction"));
    if (!asker.covers(*subclient)) return answered(error_reply(403, "the token does not grant this share"));
    return plan_outcome(head, id, close, settings, collects);
}

}  // namespace index_server
