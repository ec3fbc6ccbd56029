// The named message classes. They add nothing to CNMessageBase but their class pair; what each field means is told by
// the schema in docs/wire-format.md. Children without a class name of their own are plain CNMessageBase objects.
#pragma once

#include "host/messages.h"

#define IIF_MESSAGE_CLASS(name, group, number)       \
    class IIF_HOST_API name : public CNMessageBase { \
    public:                                          \
        name() : CNMessageBase(group, number) {}     \
    }

namespace KT5ContentIndexing {
IIF_MESSAGE_CLASS(ZYSearchReq, 14, 169);
IIF_MESSAGE_CLASS(SearchProcessingInfo, 14, 159);
IIF_MESSAGE_CLASS(SearchParameters, 14, 158);
IIF_MESSAGE_CLASS(ZYSearchGroup, 14, 151);
IIF_MESSAGE_CLASS(FieldValue, 14, 146);
IIF_MESSAGE_CLASS(ZYOrbitSecurityGroup, 14, 153);
IIF_MESSAGE_CLASS(CIServer, 14, 120);
IIF_MESSAGE_CLASS(ZYSearchResp, 14, 171);
IIF_MESSAGE_CLASS(Error, 14, 2);
IIF_MESSAGE_CLASS(GResultItem, 14, 31);
IIF_MESSAGE_CLASS(NameValueMap, 14, 25);
}  // namespace KT5ContentIndexing

namespace App {
IIF_MESSAGE_CLASS(GetClientPropertiesRequest, 30, 800);
IIF_MESSAGE_CLASS(GetClientPropertiesResponse, 30, 801);
IIF_MESSAGE_CLASS(ClientInfo, 30, 160);
IIF_MESSAGE_CLASS(UserCapability, 30, 487);
IIF_MESSAGE_CLASS(GetSyncWebFolderReq, 30, 401);
IIF_MESSAGE_CLASS(GetSyncWebFolderResp, 30, 402);
IIF_MESSAGE_CLASS(SyncWebFolderInfo, 30, 403);
}  // namespace App

namespace LWGui {
IIF_MESSAGE_CLASS(AnalyticsEngineClientID, 13, 206);
IIF_MESSAGE_CLASS(IndexServerList, 13, 1052);
IIF_MESSAGE_CLASS(AnalyticsEngine, 13, 1051);
}  // namespace LWGui

namespace ZyEntities {
IIF_MESSAGE_CLASS(GenericEntity, 18, 46);
IIF_MESSAGE_CLASS(UserEntity, 18, 15);
}  // namespace ZyEntities

#undef IIF_MESSAGE_CLASS
