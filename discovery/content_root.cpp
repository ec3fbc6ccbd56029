// The content root: the one folder below which every path of the share lives in the index. Errors here are logged at
// level 1; start-up logs its own error on top.
#include <cstdlib>
#include <sstream>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "host/management.h"
#include "query/message_access.h"

namespace {

namespace fields = message_fields;

constexpr unsigned long sync_folder_tag = 509216237;

}  // namespace

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
    set_text(user, fields::UserEntity::userName, index_server_name);
    App::GetSyncWebFolderReq request;
    set_number(request, fields::GetSyncWebFolderReq::requestFlag, 1);
    constexpr auto user_field = fields::GetSyncWebFolderReq::user;
    request.setObjectAccessor(static_cast<const CNMessageBase*>(&user), user_field.number, user_field.tag);
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
    auto folders = list_to_read<App::SyncWebFolderInfo>(response, fields::GetSyncWebFolderResp::folders);
    if (folders->empty()) {
        IIF_LOG(1, "ERROR: GetSyncWebFolderResp does not have sync folder information.");
        return -1;
    }
    auto folder = child_to_read(folders->front(), fields::SyncWebFolderInfo::folder);
    std::ostringstream folder_id;
    folder_id << folder->getint64(fields::Folder::folderId);
    sync_folder.assign(1, '/').append(folder_id.str());
    if (atoi(sync_folder.c_str()) == -1) {  // never so: the text begins with "/"
        IIF_LOG(1, "ERROR: sync_folder [%s]", sync_folder.c_str());
        return -1;
    }

    index_iface_browse_fields root;
    root.path = "/";
    return find_by_path_zysearch(root, *root_dir_props);
}
