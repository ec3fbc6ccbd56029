// The table of the JSON API, and what is the same for all of it.
#include "server/admin_routes.h"

#include <charconv>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "server/admin_answers.h"
#include "server/administration.h"
#include "server/json_request.h"
#include "server/share_routes.h"

namespace index_server {

namespace {

using share_answer = http_reply (*)(const admin_parts&, const share&, const std::string& body);

/// What can be done with one share: the method and the part of the path after its subclient id.
struct share_operation {
    const char* method;
    const char* verb;
    share_answer answer;
};

constexpr share_operation share_operations[] = {
    {"GET", "", answer_share},           {"POST", "/token", answer_token},
    {"POST", "/remove", answer_removal}, {"POST", "/backup-mark", answer_backup_mark},
    {"POST", "/purge", answer_purge},    {"POST", "/check", answer_check},
};

/// Work whose refusals become answers.
http_plan worked(std::size_t most_body_bytes, std::function<http_reply(const std::string& body)> work) {
    http_plan plan;
    plan.most_body_bytes = most_body_bytes;
    plan.work_lane = lane::collect;
    plan.run = [work = std::move(work)](const std::string& body, const reply_sink& reply) {
        http_reply answer;
        try {
            answer = work(body);
        } catch (const bad_request& refusal) {
            answer = error_reply(400, refusal.what());
        } catch (const std::invalid_argument& refusal) {
            answer = error_reply(400, refusal.what());
        } catch (const backup_refused& refusal) {
            answer = error_reply(409, refusal.what());
        }
        reply(std::move(answer));
    };
    return plan;
}

http_plan refused(unsigned status, const std::string& text) {
    http_plan plan;
    plan.reply = error_reply(status, text);
    return plan;
}

/// `rest` is what follows "/api/shares/".
http_plan plan_share(const http_head& head, const std::string& rest, const admin_parts& parts,
                     std::size_t most_body_bytes) {
    const std::size_t digits = std::min(rest.find('/'), rest.size());
    const std::string verb = rest.substr(digits);
    for (const share_operation& operation : share_operations) {
        if (head.method != operation.method || verb != operation.verb) continue;
        std::int64_t subclient = 0;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + digits, subclient);
        const bool is_number = error == std::errc() && end == rest.data() + digits;
        const std::optional<share> of = is_number ? parts.shares.by_subclient(subclient) : std::nullopt;
        if (!of) return refused(404, "no such share");
        return worked(most_body_bytes, [parts, of = *of, answer = operation.answer](const std::string& body) {
            return answer(parts, of, body);
        });
    }
    return refused(404, "no such endpoint");
}

}  // namespace

http_plan plan_admin(const http_head& head, const grant& asker, const admin_parts& parts, std::size_t most_body_bytes) {
    if (!asker.is_admin) return refused(403, "this takes the admin token");
    const std::string call = head.method + " " + head.path;
    const auto work = [&](std::function<http_reply(const std::string&)> answer) {
        return worked(most_body_bytes, std::move(answer));
    };
    if (call == "GET /api/shares")
        return work([parts, query = head.query](const std::string&) { return list_shares(query, parts.shares); });
    if (call == "POST /api/shares")
        return work([parts](const std::string& body) { return answer_registration(body, parts.shares); });
    if (call == "GET /api/transactions")
        return work([parts, query = head.query](const std::string&) { return list_transactions(query, parts); });
    if (call == "POST /api/backup")
        return work([parts](const std::string& body) { return answer_backup(body, parts.storage); });
    constexpr std::string_view share_prefix = "/api/shares/";
    if (head.path.starts_with(share_prefix))
        return plan_share(head, head.path.substr(share_prefix.size()), parts, most_body_bytes);
    return refused(404, "no such endpoint");
}

}  // namespace index_server
