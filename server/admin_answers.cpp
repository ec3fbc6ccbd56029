// The operations of the JSON API.
#include "server/admin_answers.h"

#include <chrono>
#include <limits>
#include <optional>

#include <boost/json.hpp>

#include "hostkit/log.h"
#include "server/administration.h"
#include "server/json_request.h"
#include "server/json_text.h"
#include "server/query_text.h"
#include "server/share_routes.h"

namespace index_server {

namespace {

namespace json = boost::json;

constexpr std::int64_t any_number = std::numeric_limits<std::int64_t>::max();
/// How long a removal waits for a collect file of the share that is being applied.
constexpr std::chrono::seconds removal_patience{30};

std::int64_t now_s() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

http_reply told(const json::object& answer) {
    return {200, json::serialize(answer)};
}

/// Ends the answer of a step.
http_reply told(json::object answer, const std::optional<step_place>& next) {
    if (next) answer["after"] = place_text(*next);
    return told(answer);
}

const char* state_name(App::ProcessingStatus status) {
    switch (status) {
        case App::ProcessingStatus_QUEUED:
            return "queued";
        case App::ProcessingStatus_PROCESSING:
            return "processing";
        case App::ProcessingStatus_COMPLETED:
            return "completed";
        case App::ProcessingStatus_FAILED:
            return "failed";
        case App::ProcessingStatus_CLOSED:
            return "closed";
        default:
            return "unknown";
    }
}

json::object transaction_json(const transaction_record& record, const share_registry& shares) {
    const std::optional<share> of = shares.by_subclient(record.subclient_id);
    return {{"id", record.id},
            {"subclient_id", record.subclient_id},
            {"share", of ? json::value(of->name) : json::value(nullptr)},
            {"state", state_name(record.status)},
            {"error", json_text(record.error)},
            {"created", record.created_ns / 1000000000},
            {"lines", record.lines}};
}

}  // namespace

http_reply answer_share(const admin_parts& parts, const share& of, const std::string& body) {
    const json_request no_members(body, {});
    const share_rows rows = parts.storage.admin().rows_of(of);
    json::object answer = share_json(of);
    answer["objects"] = rows.objects;
    answer["versions"] = rows.versions;
    answer["extents"] = rows.extents;
    answer["extents_to_back_up"] = rows.extents_to_back_up;
    answer["tokens"] = rows.tokens;
    return told(answer);
}

http_reply answer_token(const admin_parts& parts, const share& of, const std::string& body) {
    const bool revoke = json_request(body, {"revoke"}).flag("revoke");
    json::object answer = share_json(of);
    try {
        answer["token"] = revoke ? parts.tokens.replace(of.subclient_id) : parts.tokens.issue(of.subclient_id);
    } catch (const too_many_tokens& refusal) {
        return error_reply(409, refusal.what());
    }
    HOSTKIT_LOG(1, "index server: a token for share [%s] was issued%s", of.name.c_str(),
                revoke ? ", all others were withdrawn" : "");
    return told(answer);
}

http_reply answer_removal(const admin_parts& parts, const share& of, const std::string& body) {
    if (json_request(body, {"name"}).required_text("name") != of.name)
        return error_reply(409, "the name is not that of the share");
    if (!parts.collects.retire(of.subclient_id, removal_patience))
        return error_reply(409, "a collect file of the share is being applied; try again when it is done");
    try {
        parts.storage.admin().withdraw_share(of);
    } catch (...) {
        parts.collects.readmit(of.subclient_id);
        throw;
    }
    parts.shares.forget(of.subclient_id);
    parts.tokens.withdraw_all(of.subclient_id);
    parts.removal.wake();
    HOSTKIT_LOG(1, "index server: share [%s] is removed", of.name.c_str());
    return told({{"removed", of.name}});
}

http_reply list_transactions(const std::string& query, const admin_parts& parts) {
    const wanted_page page = read_page(query);
    const query_text words(query);
    std::optional<std::int64_t> subclient;
    if (words.has("share")) {
        subclient = words.number("share", 1, std::numeric_limits<std::int32_t>::max());
        if (!subclient) throw bad_request("\"share\" is no subclient id");
        if (!parts.watch.share_of(*subclient)) return error_reply(404, "no such share");
    }
    const std::int64_t place = place_number(page.after, any_number);
    const auto records =
        parts.storage.admin().transactions_before(subclient, place, static_cast<std::int64_t>(page.limit));
    json::array list;
    for (const listed_transaction& listed : records) {
        const bool is_open = listed.record.status == App::ProcessingStatus_QUEUED;
        // That a file is being applied is not stored.
        const std::optional<transaction_record> now =
            is_open ? parts.collects.find(listed.record.id) : std::optional(listed.record);
        list.push_back(transaction_json(now.value_or(listed.record), parts.shares));
    }
    std::optional<step_place> next;
    if (records.size() == page.limit) next = std::to_string(records.back().place);
    return told({{"transactions", std::move(list)}}, next);
}

http_reply answer_backup_mark(const admin_parts& parts, const share& of, const std::string& body) {
    const json_request request(body, {"backup_id", "before", "after"});
    const std::int64_t backup_id = request.required_number("backup_id", 1, any_number);
    const std::optional<std::int64_t> before = request.number("before", 1, any_number);
    const backup_mark_step step = parts.storage.admin().mark_backed_up(of, backup_id, before, request.place("after"));
    return told({{"marked", step.marked}}, step.next);
}

http_reply answer_purge(const admin_parts& parts, const share& of, const std::string& body) {
    const json_request request(body, {"older_than", "after"});
    const std::int64_t bound_s = request.required_number("older_than", 1, any_number);
    // Whatever is told until then would be history as soon as it arrives.
    if (bound_s > now_s()) throw bad_request("\"older_than\" lies in the future");
    const purge_step step = parts.storage.admin().purge(of, bound_s, request.place("after"));
    return told(
        {{"versions", step.removed.versions}, {"objects", step.removed.objects}, {"extents", step.removed.extents}},
        step.next);
}

http_reply answer_check(const admin_parts& parts, const share& of, const std::string& body) {
    const json_request request(body, {"after"});
    const check_step step = parts.storage.admin().check(of, request.place("after"));
    json::array findings;
    for (const finding& found : step.findings) {
        findings.push_back(
            json::object{{"kind", found.kind}, {"object", json_text(found.object)}, {"text", json_text(found.text)}});
    }
    return told({{"objects", step.objects},
                 {"waiting", step.waiting},
                 {"findings", std::move(findings)},
                 {"untold", step.untold}},
                step.next);
}

http_reply answer_backup(const std::string& body, engine& storage) {
    const json_request request(body, {"file", "force"});
    const std::string file = request.required_text("file");
    if (file.find('\0') != std::string::npos) throw bad_request("\"file\" is no name of a file");
    storage.admin().back_up_to(file, request.flag("force"));
    HOSTKIT_LOG(1, "index server: the index was copied into [%s]", json_text(file).c_str());
    return told({{"file", json_text(file)}});
}

}  // namespace index_server
