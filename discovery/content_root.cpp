// The content root: the one folder below which every path of the share lives in the index. Errors here are logged at
// level 1; start-up logs its own error on top.
#include <cstdlib>
#include <sstream>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "host/management.h"

namespace {
constexpr unsigned long sync_folder_tag = 509216237;
}

int index_iface::find_content_root_dir() {
    const int ret = find_content_root_dir_from_hq();
    if (ret != 0) {
        set_query_msg_failed();
    } else {
        set_query_msg_success();
    }
    return ret;
}

int index_iface::find_content_root_dir_from_hq() {
    ZyEntities::UserEntity user;
    user.setstring(2, 5, string_to_zystring(index_server_name));
    App::GetSyncWebFolderReq request;
    request.setint64(4, 4, 1);
    request.setObjectAccessor(static_cast<const CNMessageBase*>(&user), 5, 5);
    std::string request_text;
    request.serialize(request_text, false);
    IIF_LOG(1, "INFO: Get Sync Folder [%s]", request_text.c_str());

    std::string response_text;
    const int ret = App_ExecuteSP().executeStoredProcedure(sync_folder_tag, request_text, response_text, nullptr);
    if (ret != 0) {
        IIF_LOG(1, "ERROR: App_ExecuteSP::executeStoredProcedure::Tag_GetSyncWebFolderReq failed. Error code [%d]",
                ret);
        return -1;
    }
    IIF_LOG(1, "INFO: GET Sync Folder response xml[%s]", response_text.c_str());

    App::GetSyncWebFolderResp response;
    static_cast<void>(response.unserialize(response_text));  // an unreadable answer shows as the empty list
    auto folders = response.getlistobject<App::SyncWebFolderInfo>(1, 1, false);
    if (folders->empty()) {
        IIF_LOG(1, "ERROR: GetSyncWebFolderResp does not have sync folder information.");
        return -1;
    }
    auto folder = folders->front().getObjectAccessor(true, false, 1, 1, 18, 91);
    std::ostringstream folder_id;
    folder_id << folder->getint64(0);
    sync_folder = "/" + folder_id.str();
    if (atoi(sync_folder.c_str()) == -1) {  // never so: the text begins with "/"
        IIF_LOG(1, "ERROR: sync_folder [%s]", sync_folder.c_str());
        return -1;
    }

    index_iface_browse_fields fields;
    fields.path = "/";
    return find_by_path_zysearch(fields, *root_dir_props);
}
