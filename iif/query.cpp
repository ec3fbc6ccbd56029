// One session of find, ls or extents: what is asked, and what its results mean.
#include "iif/query.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <ctime>
#include <utility>

#include "iif/query_source.h"
#include "iif/share_choice.h"
#include "iif/stack.h"
#include "iif/time_text.h"
#include "share/encoding.h"

namespace iif {

namespace {

// A negative result is an errno value or, from here on, a status of HTTP.
constexpr int first_http_status = 200;

std::chrono::milliseconds timeout_of(const query_options& options) {
    return std::chrono::milliseconds(std::llround(options.timeout_s * 1000));
}

// The path as the index has it: encoded, with single slashes and none at the end.
std::string index_path(const std::string& path) {
    if (!path.starts_with('/'))
        throw program_error(exit_code::usage,
                            "PATH begins with / at the root of the share; write it as /" + path + ".");
    std::string clean;
    for (const char c : path)
        if (c != '/' || clean.empty() || clean.back() != '/') clean += c;
    if (clean.size() > 1 && clean.back() == '/') clean.pop_back();
    return share_host::encode_text(clean);
}

}  // namespace

exit_code report_missing(const query_options& options) {
    notice("There is no " + (options.guid.empty() ? options.path : "object " + options.guid) + " in the index" +
           (options.at.empty() ? "." : " at that time."));
    return exit_code::not_found;
}

query_session::query_session(const query_options& options) {
    prepare_process(options.common);
    if (!options.at.empty()) {
        const auto moment = parse_time(options.at, std::time(nullptr));
        if (!moment)
            throw program_error(
                exit_code::usage,
                "\"" + options.at + "\" is no time; write 2024-05-01T12:00:00Z, 1714564800 or \"2 hours ago\".");
        before_s_ = *moment;
    }
    if (options.guid.empty() && !options.not_backed_up) path_ = index_path(options.path);
    guid_ = options.guid;
    source_ = open_source(chosen_state(options.which), timeout_of(options));
}

query_session::~query_session() = default;

bool query_session::find(index_iface_props& props) {
    const query_op op = guid_.empty() ? query_op::find_by_path : query_op::find_by_guid;
    std::vector<index_iface_props> objects = objects_of(source_->ask(op, fields_for(guid_)));
    if (objects.empty()) return false;
    props = objects.front();
    return true;
}

std::vector<index_iface_props> query_session::list() {
    const query_op op = guid_.empty() ? query_op::browse_by_path : query_op::browse_by_guid;
    return objects_of(source_->ask(op, fields_for(guid_)));
}

std::vector<index_iface_props> query_session::extents(const index_iface_props& file) {
    return objects_of(source_->ask(query_op::browse_file_extents, fields_for(file.object_guid)));
}

std::vector<index_iface_props> query_session::extents_not_backed_up() {
    return objects_of(source_->ask(query_op::browse_extents_not_backedup, {}));
}

index_iface_browse_fields query_session::fields_for(const std::string& guid) const {
    index_iface_browse_fields fields;
    if (guid.empty())
        fields.path = path_.c_str();
    else
        fields.object_guid = guid.c_str();
    if (before_s_ != 0) {
        fields.before_time = before_s_;
        fields.real_before_time = before_s_ * 1000000000;
    }
    return fields;
}

std::vector<index_iface_props> query_session::objects_of(query_source::answer&& answer) {
    if (!answer.state.fresh && !std::exchange(said_stale_, true))
        notice("Not everything is delivered yet: this answer may be " +
               std::to_string((answer.state.stale_ms + 999) / 1000) + " s old.");
    if (answer.ret == 0) return std::move(answer.objects);
    if (answer.ret == ENOENT) return {};
    const std::string result = std::to_string(answer.ret);
    if (answer.ret <= -first_http_status)
        throw program_error(exit_code::cannot_reach, "The index server answers with the HTTP status " +
                                                         result.substr(1) + "; its log says why.");
    if (answer.ret < 0)
        throw program_error(exit_code::cannot_reach,
                            "The index server does not answer (" + result + "); is it running?");
    throw program_error(exit_code::refused, "The index refuses the query (" + result + "); the log says why.");
}

void query_session::leave(exit_code code) {
    source_->leave(code);
}

}  // namespace iif
