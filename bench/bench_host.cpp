// The services of the network in this process, in place of the host kit's, and the share that stands on them.
#include "bench/bench_host.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "host/collect.h"
#include "host/http.h"
#include "host/management.h"
#include "hostkit/settings.h"

namespace {

constexpr char root_answer[] =
    "<ZYSearchResp><resultSet><resultItems path=\"/5\" name=\"5\" objectGuid=\"root\">"
    "<properties/><attributes/></resultItems></resultSet></ZYSearchResp>";

std::atomic<std::size_t> collected{0};

// By the tag of the request.
const char* management_answer(unsigned long tag) {
    switch (tag) {
        case 516377915:
            return "<GetClientPropertiesResponse><clients><clientProps><indexProps><indexServer><serverClient "
                   "serverClientId='31'/><capabilities><serverEntity serverEntityName='idx'/></capabilities>"
                   "</indexServer></indexProps></clientProps></clients></GetClientPropertiesResponse>";
        case 223303891:
            return "<IndexServerList><engines cloudId='9' engineType='4'/></IndexServerList>";
        default:
            return "<GetSyncWebFolderResp><folders><folder folderId='5'/></folders></GetSyncWebFolderResp>";
    }
}

}  // namespace

int XMLHandler::handleXMLReq(unsigned long, unsigned long tag, std::string& message, std::string&, std::string,
                             unsigned long) {
    message = management_answer(tag);
    return 0;
}

int App_ExecuteSP::executeStoredProcedure(unsigned long tag, const std::string&, std::string& response, void*) {
    response = management_answer(tag);
    return 0;
}

class CurlWrapperCacheNode {};
struct CurlWrapperCache::Impl {
    CurlWrapperCacheNode node;
};
CurlWrapperCache::CurlWrapperCache(long) : impl_(std::make_unique<Impl>()) {}
CurlWrapperCache::~CurlWrapperCache() = default;
CurlWrapperCacheNode* CurlWrapperCache::PopCurlWrapper() {
    return &impl_->node;
}
void CurlWrapperCache::PutCurlWrapper(CurlWrapperCacheNode*, bool) {}

int GetCurlResponse2(CurlWrapperCacheNode*, std::string&, std::string&, std::string&, std::string& response) {
    response = root_answer;
    return 0;
}

struct CMarlCollectHandler::Impl {};
CMarlCollectHandler::CMarlCollectHandler(std::uint64_t, std::uint64_t, const std::string&, const std::string&,
                                         const std::string&, CJobControl*, std::uint64_t, const std::string&,
                                         const std::string&) {}
CMarlCollectHandler::~CMarlCollectHandler() = default;
void CMarlCollectHandler::SetLogLevel(int) {}

CXoError CMarlCollectHandler::SubmitNewTransaction(App::ProcessingStatus& status, EScanJobType,
                                                   const std::vector<std::string>& files, bool) {
    for (const std::string& file : files)
        collected += bench::lines_in(file);
    status = App::ProcessingStatus_QUEUED;
    return CXoError::Success();
}

CXoError CMarlCollectHandler::WaitForTransaction(App::ProcessingStatus& status, bool,
                                                 const boost::shared_ptr<CHandleNewMarlFiles>&,
                                                 const boost::shared_ptr<CAbortOperationCheck>&, int, EScanJobType) {
    status = App::ProcessingStatus_COMPLETED;
    return CXoError::Success();
}

CXoError CMarlCollectHandler::QueryLastTransaction(std::string&, App::ProcessingStatus&,
                                                   const boost::shared_ptr<CAbortOperationCheck>&) {
    return CXoError::Success();
}

CXoError CMarlCollectHandler::CloseTransaction(const std::string&) {
    return CXoError::Success();
}

// The library sleeps to wait for its thread, at the start and the end of a share, and to slow callers down, which no
// benchmark asks for. A millisecond is enough.
void XOSLEEP_InTeRnAl(unsigned long, const char*, int) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

namespace bench {

void prepare_host() {
    hostkit::settings& settings = hostkit::process_settings();
    for (const auto& [key, value] : {std::pair("machine", "bench"),
                                     {"client_id.42", "77"},
                                     {"web_client_id", "1"},
                                     {"web_host", "localhost"},
                                     {"job_results", "/tmp"}}) {
        settings.set("identity", key, value);
    }
    settings.set("server", "url", "http://index.invalid/");
    settings.set("Lumo", "nDisableJournalSave", "1");
}

std::size_t lines_collected() {
    return collected;
}

std::size_t lines_in(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(stream), {}, '\n'));
}

started_share::started_share(const std::string& place, std::size_t batch) : directory_(place) {
    const std::string root = directory_.file("state");
    index_iface::args arguments;
    arguments.subclient_id = 42;
    arguments.flush_after_count = static_cast<std::uint32_t>(batch + 1);
    arguments.root_dir = root.c_str();
    arguments.share_name = "share";
    share_ = std::make_unique<index_iface>(arguments);
    check(share_->init() == 0, "the share does not start");
}

}  // namespace bench
