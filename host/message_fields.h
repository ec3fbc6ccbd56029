// The numbers of the message fields under their names, one namespace a class. A field is a number and a member tag; a
// child also has the class pair of what it holds.
#pragma once

namespace message_fields {

struct field {
    short number;
    short tag;
};

struct child_field {
    short number;
    short tag;
    int class_group;
    int class_number;
};

// Search request.
namespace ZYSearchReq {
inline constexpr child_field processingInfo{1, 1, 14, 159};
inline constexpr child_field filterSet{2, 2, 14, 157};
inline constexpr field searchMode{6, 6};
inline constexpr field servers{7, 7};
inline constexpr child_field serverRef{8, 8, 14, 1};
}  // namespace ZYSearchReq

namespace SearchProcessingInfo {
inline constexpr field pageSize{1, 1};
inline constexpr field pageStart{2, 2};
inline constexpr field parameters{5, 5};
}  // namespace SearchProcessingInfo

namespace SearchParameters {
inline constexpr field paramName{1, 1};
inline constexpr field paramValue{2, 5};
}  // namespace SearchParameters

namespace SearchFilterSet {
inline constexpr child_field keyword{1, 1, 14, 154};
inline constexpr field queryGroups{3, 3};
inline constexpr field baseGroups{4, 4};
inline constexpr field securityGroups{7, 7};
}  // namespace SearchFilterSet

namespace SearchKeyword {
inline constexpr field keywordText{1, 1};
inline constexpr field keywordMode{2, 5};
}  // namespace SearchKeyword

namespace ZYSearchGroup {
inline constexpr field groupMode{3, 3};
inline constexpr child_field criteria{4, 4, 14, 150};
}  // namespace ZYSearchGroup

namespace FieldCriteria {
inline constexpr field criteriaFields{2, 5};
inline constexpr field criteriaMode{3, 6};
}  // namespace FieldCriteria

namespace FieldValue {
inline constexpr field fieldName{1, 1};
inline constexpr child_field fieldValues{2, 5, 14, 127};
inline constexpr field matchMode{3, 6};
}  // namespace FieldValue

namespace FieldValueList {
inline constexpr field valueList{1, 1};
}  // namespace FieldValueList

namespace ZYOrbitSecurityGroup {
inline constexpr field subclientIds{2, 2};
inline constexpr field scopeFields{7, 7};
}  // namespace ZYOrbitSecurityGroup

namespace CIServer {
inline constexpr field serverCloudId{2, 2};
}  // namespace CIServer

namespace SearchServerRef {
inline constexpr field serverName{2, 5};
}  // namespace SearchServerRef

// Search response.
namespace ZYSearchResp {
inline constexpr field errors{1, 1};
inline constexpr child_field resultSet{7, 13, 14, 33};
}  // namespace ZYSearchResp

namespace Error {
inline constexpr field errorCode{1, 1};
inline constexpr field errorMessage{2, 2};
}  // namespace Error

namespace GResultSet {
inline constexpr field resultItems{1, 1};
}  // namespace GResultSet

/// The number 26 occurs twice: as the child `properties` by its pair, and as an integer by its number alone.
namespace GResultItem {
inline constexpr field path{2, 5};
inline constexpr field name{3, 9};
inline constexpr field object_guid{24, 51};
inline constexpr child_field properties{26, 56, 14, 26};
inline constexpr short result_ref_a = 26;
inline constexpr short size = 33;
inline constexpr short mtime = 34;
inline constexpr field version_guid{37, 82};
inline constexpr short result_ref_b = 39;
inline constexpr short result_ref_c = 40;
inline constexpr field parent_guid{46, 103};
inline constexpr child_field attributes{50, 110, 14, 32};
inline constexpr short atime = 101;
}  // namespace GResultItem

namespace GResultAttributes {
inline constexpr field uid{1, 1};
inline constexpr field gid{2, 5};
inline constexpr short mode = 9;
inline constexpr short extent_type = 10;
inline constexpr short ctime = 12;
inline constexpr field xattr{13, 19};
inline constexpr short extent_number = 15;
inline constexpr short vtime = 16;
inline constexpr short dtime = 17;
}  // namespace GResultAttributes

namespace GResultProperties {
inline constexpr field propertyList{1, 1};
}  // namespace GResultProperties

namespace NameValueMap {
inline constexpr field propertyName{1, 1};
inline constexpr field propertyValue{2, 5};
}  // namespace NameValueMap

// Management exchanges.
namespace GetClientPropertiesRequest {
inline constexpr child_field clientList{1, 1, 30, 290};
}  // namespace GetClientPropertiesRequest

namespace ClientList {
inline constexpr field entities{1, 1};
}  // namespace ClientList

namespace GenericEntity {
inline constexpr field entityType{0, 0};
inline constexpr field entityId{17, 47};
}  // namespace GenericEntity

namespace GetClientPropertiesResponse {
inline constexpr field clients{1, 1};
}  // namespace GetClientPropertiesResponse

namespace ClientInfo {
inline constexpr child_field clientProps{12, 12, 30, 161};
}  // namespace ClientInfo

namespace ClientProps {
inline constexpr child_field indexProps{16, 16, 30, 480};
}  // namespace ClientProps

namespace IndexProps {
inline constexpr child_field indexServer{3, 3, 30, 486};
}  // namespace IndexProps

namespace IndexServer {
inline constexpr field capabilities{3, 3};
inline constexpr child_field serverClient{7, 7, 18, 4};
}  // namespace IndexServer

namespace ServerClient {
inline constexpr short serverClientId = 0;
}  // namespace ServerClient

namespace UserCapability {
inline constexpr child_field serverEntity{1, 1, 18, 15};
}  // namespace UserCapability

namespace ServerEntity {
inline constexpr field serverEntityName{2, 5};
}  // namespace ServerEntity

namespace AnalyticsEngineClientID {
inline constexpr field engineName{2, 2};
inline constexpr child_field client{3, 6, 18, 4};
}  // namespace AnalyticsEngineClientID

namespace Client {
inline constexpr field clientId{0, 0};
}  // namespace Client

namespace IndexServerList {
inline constexpr field engines{1, 1};
}  // namespace IndexServerList

namespace AnalyticsEngine {
inline constexpr short cloudId = 5;
inline constexpr short engineType = 19;
}  // namespace AnalyticsEngine

namespace GetSyncWebFolderReq {
inline constexpr field requestFlag{4, 4};
inline constexpr field user{5, 5};
}  // namespace GetSyncWebFolderReq

namespace UserEntity {
inline constexpr field userName{2, 5};
}  // namespace UserEntity

namespace GetSyncWebFolderResp {
inline constexpr field folders{1, 1};
}  // namespace GetSyncWebFolderResp

namespace SyncWebFolderInfo {
inline constexpr child_field folder{1, 1, 18, 91};
}  // namespace SyncWebFolderInfo

namespace Folder {
inline constexpr short folderId = 0;
}  // namespace Folder

}  // namespace message_fields
