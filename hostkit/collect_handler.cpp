// The way to the collection service over HTTP: a transaction is one posted file, its outcome is waited for by long
// polls that outlast a restart of the server, because the server keeps what it has acknowledged.
#include "host/collect.h"

#include <algorithm>
#include <boost/json.hpp>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>

#include "hostkit/errors.h"
#include "hostkit/http_exchange.h"
#include "hostkit/log.h"
#include "hostkit/settings.h"

namespace {

using namespace hostkit;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr unsigned open_transaction_code = 3021;
constexpr long long poll_length_ms = 10'000;  // the server answers sooner when there is an outcome
constexpr long long poll_margin_ms = 15'000;  // what an answer may take beyond that
constexpr milliseconds first_pause{20};       // between two looks at a server that is away; doubles up to the caller's

/// What the service said about a transaction.
struct transaction_state {
    std::string id;
    App::ProcessingStatus status = App::ProcessingStatus_UNKNOWN;
    std::string error;
};

std::string text_member(const boost::json::object& object, const char* name) {
    const boost::json::value* member = object.if_contains(name);
    return member != nullptr && member->is_string() ? std::string(member->get_string()) : std::string();
}

boost::json::object object_in(const http_answer& answer) {
    boost::system::error_code failed;
    boost::json::value value = boost::json::parse(answer.body, failed);
    return !failed && value.is_object() ? std::move(value.get_object()) : boost::json::object();
}

/// True for an id that can stand in an address as it is.
bool is_plain_id(const std::string& id) {
    return !id.empty() && id.size() <= 128 &&
           std::ranges::all_of(id, [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; });
}

std::optional<transaction_state> state_in(const http_answer& answer) {
    const boost::json::object object = object_in(answer);
    const boost::json::value* status = object.if_contains("status");
    if (status == nullptr || !status->is_int64()) return std::nullopt;
    if (status->get_int64() < App::ProcessingStatus_UNKNOWN || status->get_int64() > App::ProcessingStatus_CLOSED)
        return std::nullopt;
    return transaction_state{text_member(object, "id"), static_cast<App::ProcessingStatus>(status->get_int64()),
                             text_member(object, "error")};
}

/// The error for an answer that does not do what was asked for.
CXoError refusal(const char* what, const http_answer& answer) {
    const boost::json::object object = object_in(answer);
    const boost::json::value* code = object.if_contains("code");
    const std::string text = std::string(what) + ": status " + std::to_string(answer.status) + ' ' +
                             text_member(object, "error").substr(0, 500);
    switch (answer.status) {
        case 401:
        case 403:
            return make_service_error(0, EACCES, text);
        case 404:
            return make_service_error(0, ENOENT, text);
        case 409:
            if (code != nullptr && code->is_int64() && code->get_int64() == open_transaction_code)
                return make_service_error(open_transaction_code, EBUSY, text);
            return make_service_error(0, EBUSY, text);
        case 413:
            return make_service_error(0, EFBIG, text);
        default:
            return make_service_error(0, EIO, text);
    }
}

bool has_outcome(App::ProcessingStatus status) {
    return status == App::ProcessingStatus_COMPLETED || status == App::ProcessingStatus_FAILED ||
           status == App::ProcessingStatus_CLOSED;
}

/// True when asking again later can help: the server is away or says that it cannot answer for the moment.
bool is_passing(const CXoError& error, const http_answer& answer) {
    if (!error.IsError()) return answer.status >= 500;
    const int number = FXErrorUtil::GetErrNo(error);
    return number != EINVAL && number != ENOMEM && number != ECANCELED && number != EPROTO;
}

milliseconds silence_bound() {
    const auto bound = process_settings().find_number("server", "collect_silence_ms");
    return milliseconds(bound && *bound > 0 ? *bound : 120'000);
}

/// Runs an operation for a caller that takes no exceptions.
template <class Operation>
CXoError without_exceptions(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::exception&) {
        return make_service_error(0, ENOMEM, "no memory for a collect transaction");
    }
}

}  // namespace

struct CMarlCollectHandler::Impl {
    std::uint64_t job_id;
    std::uint64_t subclient_id;
    std::uint64_t client_id;
    std::string base_url;
    std::string open_id;  // of the transaction submitted last
    int log_level = 0;

    CXoError submit(App::ProcessingStatus& status, EScanJobType job_type, const std::string& file);
    CXoError look(transaction_state& state, milliseconds length, milliseconds limit, bool& passing) const;
    CXoError wait(App::ProcessingStatus& status, bool until_outcome, milliseconds longest_pause) const;
    CXoError query_last(transaction_state& state) const;
    CXoError close(const std::string& id) const;
};

CXoError CMarlCollectHandler::Impl::submit(App::ProcessingStatus& status, EScanJobType job_type,
                                           const std::string& file) {
    http_request post;
    post.method = "POST";
    post.url = join_url(base_url, "collect/transactions?subclient=" + std::to_string(subclient_id) +
                                      "&client=" + std::to_string(client_id) + "&job=" + std::to_string(job_id) +
                                      "&type=" + std::to_string(static_cast<int>(job_type)));
    post.body_file = file;
    post.content_type = "application/octet-stream";
    // A file of any size may take its time, as long as it moves.
    post.total_timeout_ms = -1;
    post.stall_timeout_ms = static_cast<long>(silence_bound().count());
    http_answer answer;
    if (CXoError error = http_exchange(post, answer); error.IsError()) return error;
    if (answer.status != 201) return refusal("the collect file was not taken", answer);
    const std::optional<transaction_state> state = state_in(answer);
    if (!state || !is_plain_id(state->id))
        return make_service_error(0, EPROTO, "the collection service gave no transaction");
    open_id = state->id;
    status = state->status;
    if (log_level >= 2) HOSTKIT_LOG(2, "transaction %s submitted, status %d", open_id.c_str(), status);
    return CXoError::Success();
}

/// Asks once, for an outcome within `length`. On failure `passing` tells whether to ask again.
CXoError CMarlCollectHandler::Impl::look(transaction_state& state, milliseconds length, milliseconds limit,
                                         bool& passing) const {
    http_request get;
    get.url = join_url(base_url, "collect/transactions/" + open_id +
                                     "/wait?timeout_ms=" + std::to_string(std::min(length, limit).count()));
    get.total_timeout_ms = static_cast<long>(std::min(length + milliseconds(poll_margin_ms), limit).count());
    http_answer answer;
    CXoError error = http_exchange(get, answer);
    passing = is_passing(error, answer);
    if (error.IsError()) return error;
    if (answer.status != 200) return refusal("no outcome of the transaction", answer);
    std::optional<transaction_state> seen = state_in(answer);
    if (!seen) return make_service_error(0, EPROTO, "the collection service gave no status");
    state = std::move(*seen);
    return CXoError::Success();
}

CXoError CMarlCollectHandler::Impl::wait(App::ProcessingStatus& status, bool until_outcome,
                                         milliseconds longest_pause) const {
    if (open_id.empty()) return make_service_error(0, EINVAL, "no transaction was submitted");
    const milliseconds bound = silence_bound();
    const milliseconds length(until_outcome ? poll_length_ms : 0);
    auto last_answer = steady_clock::now();
    milliseconds pause = std::min(first_pause, longest_pause);
    for (;;) {
        const auto silence = std::chrono::duration_cast<milliseconds>(steady_clock::now() - last_answer);
        transaction_state state;
        bool passing = false;
        const auto asked = steady_clock::now();
        CXoError error = look(state, length, std::max(bound - silence, milliseconds(1)), passing);
        if (!error.IsError()) {
            status = state.status;
            if (has_outcome(status) && !state.error.empty())
                HOSTKIT_LOG(-1, "transaction %s: %s", open_id.c_str(), state.error.c_str());
            if (has_outcome(status) || !until_outcome) return error;
            // A server that does not hold the poll back must not be asked in a tight loop.
            std::this_thread::sleep_until(asked + longest_pause);
            last_answer = steady_clock::now();
            pause = std::min(first_pause, longest_pause);
            continue;
        }
        if (!passing || steady_clock::now() - last_answer + pause >= bound) return error;
        if (log_level >= 2) HOSTKIT_LOG(2, "waiting for transaction %s: %s", open_id.c_str(), error.AsString().c_str());
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, longest_pause);
    }
}

CXoError CMarlCollectHandler::Impl::query_last(transaction_state& state) const {
    http_request get;
    get.url = join_url(base_url, "collect/transactions/last?subclient=" + std::to_string(subclient_id));
    http_answer answer;
    if (CXoError error = http_exchange(get, answer); error.IsError()) return error;
    if (answer.status != 200) return refusal("no last transaction", answer);
    std::optional<transaction_state> seen = state_in(answer);
    if (!seen) return make_service_error(0, EPROTO, "the collection service gave no status");
    state = std::move(*seen);
    return CXoError::Success();
}

CXoError CMarlCollectHandler::Impl::close(const std::string& id) const {
    if (!is_plain_id(id)) return make_service_error(0, EINVAL, "this is no transaction id");
    http_request post;
    post.method = "POST";
    post.url = join_url(base_url, "collect/transactions/" + id + "/close");
    // One that is being applied answers only when it is through.
    post.total_timeout_ms = static_cast<long>(silence_bound().count());
    http_answer answer;
    if (CXoError error = http_exchange(post, answer); error.IsError()) return error;
    return answer.status == 200 ? CXoError::Success() : refusal("the transaction was not closed", answer);
}

CMarlCollectHandler::CMarlCollectHandler(std::uint64_t job_id, std::uint64_t subclient_id, const std::string&,
                                         const std::string& web_url, const std::string&, CJobControl*,
                                         std::uint64_t client_id, const std::string&, const std::string&)
    : impl_(new Impl{job_id, subclient_id, client_id, web_url, {}}) {}

CMarlCollectHandler::~CMarlCollectHandler() = default;

void CMarlCollectHandler::SetLogLevel(int level) {
    impl_->log_level = level;
}

CXoError CMarlCollectHandler::SubmitNewTransaction(App::ProcessingStatus& status, EScanJobType job_type,
                                                   const std::vector<std::string>& files, bool append) {
    return without_exceptions([&] {
        if (files.size() != 1 || append)
            return make_service_error(0, EINVAL, "a transaction is exactly one whole file");
        return impl_->submit(status, job_type, files.front());
    });
}

CXoError CMarlCollectHandler::WaitForTransaction(App::ProcessingStatus& status, bool until_outcome,
                                                 const boost::shared_ptr<CHandleNewMarlFiles>&,
                                                 const boost::shared_ptr<CAbortOperationCheck>&, int poll_ms,
                                                 EScanJobType) {
    return without_exceptions([&] { return impl_->wait(status, until_outcome, milliseconds(std::max(poll_ms, 1))); });
}

CXoError CMarlCollectHandler::QueryLastTransaction(std::string& transaction_id, App::ProcessingStatus& status,
                                                   const boost::shared_ptr<CAbortOperationCheck>&) {
    return without_exceptions([&] {
        transaction_state state;
        CXoError error = impl_->query_last(state);
        if (!error.IsError()) {
            transaction_id = state.id;
            status = state.status;
        }
        return error;
    });
}

CXoError CMarlCollectHandler::CloseTransaction(const std::string& transaction_id) {
    return without_exceptions([&] { return impl_->close(transaction_id); });
}
