// The part of start-up that asks the host's management services who this share is and where its index lives.
#include <cerrno>

#include "core/allocation.h"
#include "core/index_iface.h"
#include "core/init_locals.h"
#include "core/log_line.h"
#include "discovery/index_location.h"

int index_iface::ask_identities(init_locals& locals) {
    application_id = make_or_null<ApplicationId>(2UL, subclient_id);
    if (application_id == nullptr) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not allocate memory for ApplicationId, subclient_id [%lu]. Please check "
            "ApplicationMgr.log and AppMgrService.log on the HQ.",
            subclient_id);
        return ENOMEM;
    }
    const ZYClient* client = application_id->getClient(nullptr);
    if (client == nullptr) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not get client from application_id. subclient_id [%lu]. Please check "
            "ApplicationMgr.log and AppMgrService.log on the HQ",
            subclient_id);
        return EINVAL;
    }
    unsigned long id = 0;
    if (const int ret = client->getClientId(id); ret != 0) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not get client_id for subclient_id [%lu], ret [%d]. Please check "
            "ApplicationMgr.log and AppMgrService.log on the HQ",
            subclient_id, ret);
        return ret;
    }
    client_id = id;
    const char* machine = locals.platform_info.getPhysicalMachine();
    if (machine == nullptr) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not get the focus client name. Please check ApplicationMgr.log and "
            "AppMgrService.log on the HQ");
        return EINVAL;
    }
    locals.focus_client_name = machine;
    const Subclient* subclient = application_id->getSubclient(nullptr);
    if (subclient == nullptr) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not get subclient from application_id. Please check ApplicationMgr.log and "
            "AppMgrService.log on the HQ");
        return EINVAL;
    }
    if (const int ret = subclient->getMarlWebServerDetails(locals.web_server_client_id, locals.web_server_host_name,
                                                           locals.web_url, nullptr);
        ret != 0) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not get the index server address. Please check ApplicationMgr.log and "
            "AppMgrService.log on the HQ");
        return ret;
    }
    if (locals.web_url.empty()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not get the index server address.");
        return EINVAL;
    }
    return 0;
}

int index_iface::ask_web_client(init_locals& locals) {
    IIF_LOG(1, "INDEX_IFACE: web_server_client_id [%d] web_server_host_name [%s] webserver_url [%s].",
            locals.web_server_client_id, locals.web_server_host_name.c_str(), locals.web_url.c_str());
    webserver_url = locals.web_url + "ZYWebService.svc/doWebSearch";
    if (get_index_cloud_id(static_cast<int>(client_id), index_server_name, cloud_id, is_solr_cloud) != 0) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not get cloudId of the index server. WebServerClientId [%d] WebServerHostName "
            "[%s] WebServerURL [%s]. Please check ApplicationMgr.log and AppMgrService.log on the HQ",
            locals.web_server_client_id, locals.web_server_host_name.c_str(), locals.web_url.c_str());
        return EINVAL;
    }
    web_client = make_or_null<ZYClient>(static_cast<unsigned long>(locals.web_server_client_id));
    if (web_client == nullptr) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not allocate memory for ZYClient for the web_server_client_id [%d]. Please "
            "check ApplicationMgr.log and AppMgrService.log on the HQ",
            locals.web_server_client_id);
        return ENOMEM;
    }
    if (const int ret = web_client->getJobResultsDirectory(locals.job_results_directory); ret != 0) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not jobresults directory for the web server client. Please check "
            "ApplicationMgr.log and AppMgrService.log on the HQ");
        return ret;
    }
    if (const int ret = web_client->getMangledHostName(locals.mangled_host_name); ret != 0) {
        IIF_LOG_ERROR(
            "INDEX_IFACE: Error: could not get webserver mangled host name. Please check ApplicationMgr.log and "
            "AppMgrService.log on the HQ");
        return ret;
    }
    collect_handler = make_or_null<CMarlCollectHandler>(job_id, subclient_id, locals.mangled_host_name, locals.web_url,
                                                        std::string(), static_cast<CJobControl*>(nullptr), client_id,
                                                        locals.focus_client_name, locals.job_results_directory);
    if (collect_handler == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not allocate memory for CMarlCollectHandler.");
        return ENOMEM;
    }
    collect_handler->SetLogLevel(2);
    curl_cache = make_or_null<CurlWrapperCache>(75L);
    if (curl_cache == nullptr) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: could not allocate memory for CurlWrapperCache.");
        return ENOMEM;
    }
    return 0;
}

void index_iface::release_management_objects() {
    if (web_client != nullptr) {
        web_client->release();
        web_client = nullptr;
    }
    if (application_id != nullptr) {
        application_id->release();
        application_id = nullptr;
    }
}
