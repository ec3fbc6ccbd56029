// Where find and ls get their answers.
#include "iif/query.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <ctime>
#include <thread>
#include <utility>

#include "iif/query_source.h"
#include "iif/stack.h"
#include "iif/time_text.h"
#include "share/encoding.h"

namespace iif {

namespace {

using namespace std::chrono_literals;

// How long a host may take to come up, or an index to answer, before a query gives up.
constexpr auto patience = 30s;

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

share_host::state_dir chosen_state(const query_options& options) {
    if (!options.state.empty()) {
        if (const auto state = share_host::state_at(options.state)) return *state;
        throw program_error(exit_code::usage, "There is no state in " + options.state + "; check --state.");
    }
    if (!options.share.empty()) {
        if (const auto state = share_host::state_of_share(options.share)) return *state;
        throw program_error(exit_code::usage, "There is no share " + options.share + " in " + share_host::state_home() +
                                                  "; check --share or give --state.");
    }
    const auto states = share_host::known_states();
    if (states.size() == 1) return states.front();
    if (states.empty())
        throw program_error(exit_code::usage,
                            "There is no share in " + share_host::state_home() + "; index one with iif up DIR.");
    std::string names;
    for (const share_host::state_dir& state : states)
        names += " " + state.share_name;
    throw program_error(exit_code::usage, "There are several shares; choose one with --share:" + names + ".");
}

// A process that holds the lock without a socket is one that comes up, goes down, or answers a query of its own.
std::unique_ptr<query_source> open_source(const share_host::state_dir& state, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        if (auto source = try_socket_source(state, timeout)) return source;
        try {
            return make_stack_source(state, timeout, patience);
        } catch (const share_host::state_in_use& in_use) {
            if (std::chrono::steady_clock::now() > deadline)
                throw program_error(exit_code::cannot_reach,
                                    std::string(in_use.what()) + " and does not answer; look at that process.");
        }
        std::this_thread::sleep_for(100ms);
    }
}

}  // namespace

exit_code report_missing(const query_options& options) {
    notice("There is no " + options.path + " in the index" + (options.at.empty() ? "." : " at that time."));
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
    index_path(options.path);  // a path that cannot be asked for needs no host
    source_ = open_source(chosen_state(options), timeout_of(options));
}

query_session::~query_session() = default;

bool query_session::find(const std::string& path, index_iface_props& props) {
    const std::string asked = index_path(path);
    std::vector<index_iface_props> objects = objects_of(source_->find(fields_for(asked)));
    if (objects.empty()) return false;
    props = std::move(objects.front());
    return true;
}

std::vector<index_iface_props> query_session::list(const std::string& path) {
    const std::string asked = index_path(path);
    return objects_of(source_->list(fields_for(asked)));
}

index_iface_browse_fields query_session::fields_for(const std::string& asked) const {
    index_iface_browse_fields fields;
    fields.path = asked.c_str();
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
