// The table of endpoints, authorisation, and the search exchange.
#include "server/routes.h"

#include <cstring>
#include <string_view>
#include <utility>

#include <boost/json.hpp>

#include "server/collect_routes.h"
#include "server/management.h"
#include "server/metrics_route.h"
#include "server/search_query.h"

namespace index_server {

namespace {

constexpr const char* search_path = "/ZYWebService.svc/doWebSearch";
const std::string management_prefix = "/management/";
const std::string collect_prefix = "/collect/transactions";
const std::string admin_prefix = "/api/";
constexpr const char* health_path = "/healthz";
constexpr const char* metrics_path = "/metrics";

/// errorCode of a request that names no share that the server has.
constexpr int unknown_share_code = 22;

bool begins_with(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

/// Under which name a path is counted. There are few, whatever is asked for.
const char* route_name(const std::string& path) {
    if (path == search_path) return "search";
    if (begins_with(path, management_prefix)) return "management";
    if (path == collect_prefix) return "collect_submit";
    if (path == collect_prefix + "/last") return "collect_last";
    if (begins_with(path, collect_prefix + "/")) return path.ends_with("/close") ? "collect_close" : "collect_wait";
    if (begins_with(path, admin_prefix)) return "api";
    if (path == health_path) return "healthz";
    if (path == metrics_path) return "metrics";
    return "unknown";
}

http_reply health_reply(bool is_well) {
    if (is_well) return {200, "ok", "text/plain"};
    return {503, "the storage cannot be reached", "text/plain"};
}

http_reply storage_away() {
    return error_reply(503, "the storage cannot be reached; try again later");
}

/// Whether a refusal may come of what another server has stored since.
bool may_be_news(const http_head& head, const http_reply& refusal) {
    return head.token && (refusal.status == 401 || refusal.status == 403 || refusal.status == 404);
}

http_plan answered(http_reply reply) {
    http_plan plan;
    plan.reply = std::move(reply);
    return plan;
}

/// A plan for work that takes the body whole and gives its answer at once.
template <class Work>
http_plan worked(std::size_t most_body_bytes, lane work_lane, Work work) {
    http_plan plan;
    plan.most_body_bytes = most_body_bytes;
    plan.work_lane = work_lane;
    plan.run = [work](const std::string& body, const reply_sink& reply) { reply(work(body)); };
    return plan;
}

/// A search about now reads a row or a page. For one about a range of time or for groups, all that is in question may
/// have to be read and put in order first.
bool is_short_search(const std::string& body) {
    for (const std::string_view sign : {"VTIME_SEC", "ENABLE_ALL_VERSIONS", "GROUP_RESULTS_BY"}) {
        if (::memmem(body.data(), body.size(), sign.data(), sign.size()) != nullptr) return false;
    }
    return true;
}

}  // namespace

http_reply error_reply(unsigned status, const std::string& text) {
    return {status, boost::json::serialize(boost::json::object{{"error", text}})};
}

routes::routes(const server_settings& settings, const admin_parts& parts, const server_metrics& metrics)
    : settings_(settings),
      parts_(parts),
      storage_(parts.storage),
      shares_(parts.shares),
      tokens_(parts.tokens),
      collects_(parts.collects),
      watch_(parts.watch),
      metrics_(metrics),
      health_(parts.storage) {}

http_plan routes::plan(const http_head& head) {
    http_plan plan = plan_known(head);
    if (plan.reply && watch_.is_needed() && may_be_news(head, *plan.reply)) plan = plan_again_later(head);
    plan.route = route_name(head.path);
    return plan;
}

http_plan routes::plan_again_later(const http_head& head) {
    http_plan plan;
    plan.later = [this, head](const std::function<void(http_plan::maker)>& go_on) {
        watch_.after_next_reading([this, head, go_on](bool is_current) {
            go_on([this, head, is_current] {
                http_plan again = is_current ? plan_known(head) : answered(storage_away());
                again.route = route_name(head.path);
                return again;
            });
        });
    };
    return plan;
}

http_plan routes::plan_known(const http_head& head) {
    // Probes carry no token, and learn nothing but whether the server can work.
    if (head.path == health_path && head.method == "GET") return plan_health();
    const std::optional<grant> asker = head.token ? tokens_.check(*head.token) : std::nullopt;
    if (!asker) return answered(error_reply(401, "a valid token is required"));
    if (head.path == search_path && head.method == "POST") return plan_search(head, *asker);
    if (begins_with(head.path, management_prefix)) {
        return plan_management(head, *asker, head.path.substr(management_prefix.size()));
    }
    if (head.path == collect_prefix || begins_with(head.path, collect_prefix + "/")) {
        return plan_collect(head, head.path.substr(collect_prefix.size()), *asker, settings_, shares_, collects_);
    }
    if (begins_with(head.path, admin_prefix)) return plan_admin(head, *asker, parts_, settings_.max_management_bytes);
    if (head.path == metrics_path && head.method == "GET") return plan_metrics(*asker);
    return answered(error_reply(404, "no such endpoint"));
}

http_plan routes::plan_health() {
    if (const std::optional<bool> is_well = health_.recent()) return answered(health_reply(*is_well));
    return worked(0, lane::search, [this](const std::string&) { return health_reply(health_.ask()); });
}

http_plan routes::plan_metrics(const grant& asker) {
    if (!asker.reads_metrics) return answered(error_reply(403, "this takes the admin token or the metrics token"));
    return worked(0, lane::search, [this](const std::string&) {
        return answer_metrics(metrics_, settings_.data_dir, shares_, collects_);
    });
}

/// A token's text is needed again only where its grant may turn out to be outdated.
std::string routes::token_to_keep(const http_head& head) const {
    return watch_.is_needed() ? head.token.value_or("") : std::string();
}

http_plan routes::plan_search(const http_head& head, const grant& asker) {
    http_plan plan = worked(
        settings_.max_search_bytes, lane::search,
        [this, token = token_to_keep(head), asker](const std::string& body) { return search(token, asker, body); });
    if (storage_.is_embedded()) plan.is_short = is_short_search;
    return plan;
}

http_plan routes::plan_management(const http_head& head, const grant& asker, const std::string& tag) {
    if (head.method != "POST" || !is_management_tag(tag)) return answered(error_reply(404, "no such endpoint"));
    return worked(settings_.max_management_bytes, lane::search,
                  [this, token = token_to_keep(head), asker, tag](const std::string& body) {
                      return manage(token, asker, tag, body);
                  });
}

http_reply routes::manage(const std::string& token, const grant& asker, const std::string& tag,
                          const std::string& body) {
    http_reply reply = answer_management(tag, body, asker, shares_);
    if (reply.status != 403 || !watch_.is_needed()) return reply;
    watch_.catch_up();
    return answer_management(tag, body, tokens_.check(token).value_or(grant()), shares_);
}

http_reply routes::search(const std::string& token, const grant& asker, const std::string& body) {
    const std::optional<search_request> request = read_search_text(body);
    if (!request) return error_reply(400, "the body is not a search request");
    const std::int64_t subclient = request->subclient_ids.empty() ? 0 : request->subclient_ids.front();
    if (subclient != 0 && !watch_.grants(token, asker, subclient))
        return error_reply(403, "the token does not grant this share");
    const std::optional<share> target = subclient == 0 ? std::nullopt : watch_.share_of(subclient);
    http_reply reply;
    reply.content_type = "text/xml; charset=utf-8";
    reply.body = target ? storage_.search(*target, *request)
                        : refusal({{unknown_share_code, "the security group names no share of this server"}});
    return reply;
}

}  // namespace index_server
