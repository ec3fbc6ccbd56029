// The scripted services beside files and time: threads, collection, HTTP and management.
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>

#include "host/collect.h"
#include "host/concurrency.h"
#include "host/http.h"
#include "host/management.h"
#include "tests/support/scripted_host.h"

namespace {

std::optional<scripted::host_state>& the_host() {
    static std::optional<scripted::host_state> state(std::in_place);
    return state;
}

template <class T>
T take_front(std::deque<T>& queue, T otherwise) {
    if (queue.empty()) return otherwise;
    T front = queue.front();
    queue.pop_front();
    return front;
}

}  // namespace

namespace scripted {

host_state& host() {
    return *the_host();
}

void reset_host() {
    fail_call(0);
    the_host().emplace();
}

}  // namespace scripted

using scripted::host;

bool ZYThread::createDetachedThread(void* (*entry)(void*), void* argument) {
    const scripted::own_memory mine;
    if (scripted::refuses("thread")) {
        last_error_ = "no threads today";
        return false;
    }
    std::thread(entry, argument).detach();
    return true;
}

std::string ZYThread::getLastError() const {
    return last_error_;
}

struct CMarlCollectHandler::Impl {};

CMarlCollectHandler::CMarlCollectHandler(std::uint64_t job_id, std::uint64_t subclient_id, const std::string& host_name,
                                         const std::string& url, const std::string& extra, CJobControl* job_control,
                                         std::uint64_t client_id, const std::string& focus,
                                         const std::string& results) {
    std::ostringstream made;
    made << job_id << ' ' << subclient_id << ' ' << host_name << ' ' << url << " '" << extra << "' "
         << (job_control == nullptr) << ' ' << client_id << ' ' << focus << ' ' << results;
    host().collect.made_with = made.str();
}
CMarlCollectHandler::~CMarlCollectHandler() = default;

void CMarlCollectHandler::SetLogLevel(int level) {
    host().collect.made_with += " level " + std::to_string(level);
}

CXoError CMarlCollectHandler::SubmitNewTransaction(App::ProcessingStatus& status, EScanJobType type,
                                                   const std::vector<std::string>& files, bool append) {
    const scripted::own_memory mine;
    if (scripted::refuses("submit")) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    std::ifstream file(files.at(0), std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(file), {});
    const std::lock_guard guard(host().lock);
    host().collect.calls.push_back("submit " + std::to_string(type) + (append || files.size() != 1 ? " oddly" : ""));
    const auto outcome = take_front(host().collect.submits, {CXoError(), App::ProcessingStatus_QUEUED});
    status = outcome.status;
    if (!outcome.error.IsError()) host().collect.batches.push_back(std::move(bytes));
    return outcome.error;
}

CXoError CMarlCollectHandler::WaitForTransaction(App::ProcessingStatus& status, bool until_outcome,
                                                 const boost::shared_ptr<CHandleNewMarlFiles>&,
                                                 const boost::shared_ptr<CAbortOperationCheck>&, int poll_ms,
                                                 EScanJobType type) {
    if (host().collect.on_wait) host().collect.on_wait();
    const scripted::own_memory mine;
    if (scripted::refuses("wait")) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    const std::lock_guard guard(host().lock);
    host().collect.calls.push_back("wait " + std::to_string(until_outcome) + " " + std::to_string(poll_ms) + " " +
                                   std::to_string(type));
    const auto outcome = take_front(host().collect.waits, {});
    status = outcome.status;
    if (!outcome.error.IsError() && status == App::ProcessingStatus_COMPLETED) {
        host().collect.completed += host().collect.batches.back();
    }
    return outcome.error;
}

CXoError CMarlCollectHandler::QueryLastTransaction(std::string& transaction_id, App::ProcessingStatus& status,
                                                   const boost::shared_ptr<CAbortOperationCheck>&) {
    const scripted::own_memory mine;
    if (scripted::refuses("query")) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    host().collect.calls.push_back("query last");
    transaction_id = "T9";
    status = App::ProcessingStatus_QUEUED;
    return CXoError();
}

CXoError CMarlCollectHandler::CloseTransaction(const std::string& transaction_id) {
    const scripted::own_memory mine;
    if (scripted::refuses("close")) return FXErrorUtil::ErrorErrNo(scripted::refused_errno);
    host().collect.calls.push_back("close " + transaction_id);
    return CXoError();
}

class CurlWrapperCacheNode {};
struct CurlWrapperCache::Impl {};
CurlWrapperCache::CurlWrapperCache(long) {}
CurlWrapperCache::~CurlWrapperCache() = default;

CurlWrapperCacheNode* CurlWrapperCache::PopCurlWrapper() {
    const scripted::own_memory mine;
    if (scripted::refuses("handle")) return nullptr;
    const std::lock_guard guard(host().lock);
    return host().http.handles-- > 0 ? new CurlWrapperCacheNode : nullptr;
}

void CurlWrapperCache::PutCurlWrapper(CurlWrapperCacheNode* node, bool failed) {
    const scripted::own_memory mine;
    const std::lock_guard guard(host().lock);
    host().http.puts.push_back(failed);
    delete node;
}

int GetCurlResponse2(CurlWrapperCacheNode*, std::string&, std::string& request, std::string&, std::string& response) {
    const scripted::own_memory mine;
    if (scripted::refuses("exchange")) return scripted::failed_exchange;
    const std::lock_guard guard(host().lock);
    host().http.requests.push_back(request);
    const auto answer = take_front(host().http.answers, host().http.standing);
    response = answer.text;
    return answer.ret;
}

int XMLHandler::handleXMLReq(unsigned long channel, unsigned long tag, std::string& message, std::string& error_text,
                             std::string extra, unsigned long flags) {
    const scripted::own_memory mine;
    if (scripted::refuses("management")) return scripted::refused_errno;
    host().management.requests.emplace_back(tag, message);
    if (channel != 1 || !extra.empty() || flags != 0) return -9;
    const scripted::answer& answer = host().management.answers[tag];
    if (answer.ret == 0) {
        message = answer.text;
    } else {
        error_text = "no route";
    }
    return answer.ret;
}

int App_ExecuteSP::executeStoredProcedure(unsigned long tag, const std::string& request, std::string& response,
                                          void* reserved) {
    const scripted::own_memory mine;
    if (scripted::refuses("management")) return scripted::refused_errno;
    host().management.requests.emplace_back(tag, request);
    const scripted::answer& answer = host().management.answers[tag];
    response = answer.text;
    return reserved == nullptr ? answer.ret : -9;
}
