// Filling an index, and building requests.
#include "bench/stocked_index.h"

#include <fstream>
#include <map>
#include <tuple>

#include "host/message_classes.h"
#include "server/engine.h"

namespace bench {

namespace {

using namespace KT5ContentIndexing;

constexpr std::size_t lines_in_file = 50000;
constexpr long long moment_s = 1'700'000'000;
constexpr const char* columns =
    "BACKUPTIME,SIZEINKB,MODIFIEDTIME,CONTENTID,ZY_TURBO_GUID,AFILEID,AFILEOFFSET,REALMNO,FILE_NAME,FILE_FOLDER,"
    "DATA_TYPE,APPID,GLOBAL_TICKS,PARENT_GUID,CISTATE,IS_EXTENT_PRESENT,ENTITY_MODE,FILE_CHANGE_TIME,custom_*,OWNER,"
    "FILE_READACLS,FILE_ACCESSEDTIME,DATE_DELETED,EXTENT_NUMBER,VERSION_TIME,EXTENT_SIZE,DELETED_TIME,LINK_TARGET,"
    "EXTENDED_ATTR";

class request_builder {
public:
    explicit request_builder(const index_server::share_access& share) {
        request_.setint64(6, 6, 4);
        auto& group = filters()->getlistobject<ZYOrbitSecurityGroup>(7, 7, true)->emplace_back();
        group.getlistint(2, 2, true)->push_back(static_cast<int>(share.subclient_id));
        filters()->getlistobject<ZYSearchGroup>(3, 3, true)->emplace_back().setint64(3, 3, 2);
    }
    void filter(const std::string& name, const std::vector<std::string>& values, int mode) {
        auto& group = filters()->getlistobject<ZYSearchGroup>(3, 3, true)->front();
        const auto criteria = group.getObjectAccessor(true, true, 4, 4, 14, 150);
        criteria->setint64(3, 6, 2);
        FieldValue& field = criteria->getlistobject<FieldValue>(2, 5, true)->emplace_back();
        field.setstring(1, 1, name);
        field.setint64(3, 6, mode);
        *field.getObjectAccessor(true, true, 2, 5, 14, 127)->getliststring(1, 1, true) = values;
    }
    void option(const std::string& name, const std::string& value) {
        SearchParameters& option = processing()->getlistobject<SearchParameters>(5, 5, true)->emplace_back();
        option.setstring(1, 1, name);
        option.setstring(2, 5, value);
    }
    std::string text(std::size_t size, std::size_t offset) {
        processing()->setint64(1, 1, static_cast<long long>(size));
        processing()->setint64(2, 2, static_cast<long long>(offset));
        std::string text;
        request_.serialize(text, false);
        return text;
    }

private:
    message_object_handle<CNMessageBase> filters() { return request_.getObjectAccessor(true, true, 2, 2, 14, 157); }
    message_object_handle<SearchProcessingInfo> processing() {
        return request_.getObjectAccessor<SearchProcessingInfo>(true, true, 1, 1, 14, 159);
    }
    ZYSearchReq request_;
};

/// What the library asks for one object.
std::string find_text(const index_server::share_access& share, const char* field, const std::string& value) {
    request_builder asked(share);
    asked.filter("IS_VISIBLE", {"true"}, 2);
    asked.filter(field, {value}, 2);
    asked.filter("DATA_TYPE", {"1", "2", "3", "4", "5", "6", "7", "8"}, 0);
    asked.option("RESPONSE_FIELD_LIST", columns);
    asked.option("NONWINDOWS_PLATFORM", "true");
    asked.option("ENABLE_MIXEDVIEWSEARCH", "true");
    asked.option("SORTFIELD", "VERSION_TIME");
    asked.option("SORT_STYLE", "desc");
    return asked.text(1, 0);
}

std::string directory_guid(const char* name, const index_server::share& share) {
    return std::string("dir-") + name + "-" + share.name;
}

}  // namespace

stocked_index::stocked_index(const std::string& place, std::size_t objects, std::size_t shares)
    : place_(place), objects_(objects) {
    index_server::server_settings settings;
    settings.data_dir = place_.file("data");
    database_ = settings.data_dir + "/index.db";
    server_ = std::make_unique<index_server::index_server>(settings);
    server_->start();
    for (std::size_t number = 0; number < shares; ++number)
        shares_.push_back(server_->register_share("share" + std::to_string(number)));
    server_->stop();
    fill(settings.data_dir, shares);
    server_->start();
}

stocked_index& stocked_index::common(const std::string& place, std::size_t objects, std::size_t shares) {
    static std::map<std::tuple<std::string, std::size_t, std::size_t>, std::unique_ptr<stocked_index>> made;
    auto& one = made[{place, objects, shares}];
    if (!one) one = std::make_unique<stocked_index>(place, objects, shares);
    return *one;
}

void stocked_index::fill(const std::string& data_dir, std::size_t shares) {
    const auto storage = index_server::open_sqlite_engine(data_dir);
    for (std::size_t number = 0; number < shares; ++number) {
        const auto share = storage->share_of_subclient(shares_[number].subclient_id).value();
        std::string lines;
        std::size_t count = 0;
        const auto apply = [&] {
            std::ofstream(place_.file("lines"), std::ios::binary) << lines;
            check(storage->apply_collect_file(share, place_.file("lines")).applied, "the index cannot be filled");
            lines.clear();
        };
        const auto add = [&](const std::string& line) {
            lines += line;
            if (++count % lines_in_file == 0) apply();
        };
        const std::string all = directory_guid("all", share), some = directory_guid("some", share);
        for (const auto& [guid, name] : {std::pair(all, "all"), {some, "some"}}) {
            add("*??|<ADD>|<SHOW>|<VTIM>" + std::to_string(moment_s) + "000000000|<ADDV>1|<VGID>v" + guid + "|<BAP>" +
                guid + "|<EPG>" + share.root_guid + "|<OTYP>2|<MODE>16877|<LFN>" + name + "|\n");
        }
        for (std::size_t file = 0; file < page_size; ++file)
            add(file_line("s" + file_guid(file), some, file_name(file)));
        for (std::size_t file = 0; file < objects_; ++file)
            add(file_line(file_guid(file), all, file_name(file)));
        apply();
    }
}

std::string stocked_index::file_guid(std::size_t number) {
    return record(number).object_guid;
}

std::string stocked_index::file_line(const std::string& guid, const std::string& parent, const std::string& name) {
    return "*??|<ADD>|<SHOW>|<VTIM>" + std::to_string(moment_s) + "000000000|<VTMS>" + std::to_string(moment_s) +
           "|<ADDV>1|<VGID>v" + guid + "|<BAP>" + guid + "|<EPG>" + parent +
           "|<OTYP>1|<FS>4096|<MODE>33188|<UID>1000|<GID>1000|<ATIME>1700000000|<CTIME>1700000000|<MTIME>1700000000|"
           "<DTIM>0|<LFN>" +
           name + "|\n";
}

std::string stocked_index::post(const std::string& target, const std::string& token, const std::string& body) const {
    return "POST " + target + " HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " + token +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string stocked_index::find_by_path(const std::string& path, std::size_t number) const {
    const index_server::share_access& of = share(number);
    const std::string whole = "/" + std::to_string(of.folder_id) + path;
    return post("/ZYWebService.svc/doWebSearch", of.token, find_text(of, "EXACT_PATH", whole));
}

std::string stocked_index::find_by_guid(const std::string& guid) const {
    return post("/ZYWebService.svc/doWebSearch", share().token, find_text(share(), "CONTENTID", guid));
}

std::string stocked_index::browse(const std::string& directory, std::size_t offset, long long at) const {
    request_builder asked(share());
    if (at != 0) asked.filter("VTIME_SEC", {"0", std::to_string(at)}, 2);
    asked.filter("IS_VISIBLE", {"true"}, 2);
    asked.filter("BROWSE_PATH", {"/" + std::to_string(share().folder_id) + directory}, 2);
    asked.filter("DATA_TYPE", {"1", "2", "3", "4", "5", "6", "7", "8"}, 0);
    if (at != 0) asked.option("ENABLE_ALL_VERSIONS", "true");
    asked.option("RESPONSE_FIELD_LIST", columns);
    asked.option("NONWINDOWS_PLATFORM", "true");
    asked.option("ENABLE_MIXEDVIEWSEARCH", "true");
    if (at != 0) {
        asked.option("GROUP_RESULTS_BY", "zyurl_" + std::to_string(share().subclient_id));
        asked.option("SORT_GROUPS_BY", "VERSION_TIME");
        asked.option("SORT_ORDER_GROUPS_BY", "desc");
        asked.option("GROUP_LIMIT", "1");
    }
    asked.option("SORTFIELD", "VERSION_TIME");
    asked.option("SORT_STYLE", "Ascending");
    return post("/ZYWebService.svc/doWebSearch", share().token, asked.text(page_size, offset));
}

std::string stocked_index::closing(const std::string& transaction, std::size_t number) const {
    return post("/collect/transactions/" + transaction + "/close", share(number).token, "");
}

std::string stocked_index::submission(const std::string& lines, std::size_t number) const {
    const index_server::share_access& of = share(number);
    return post("/collect/transactions?subclient=" + std::to_string(of.subclient_id) +
                    "&client=" + std::to_string(of.client_id) + "&job=0&type=28",
                of.token, lines);
}

}  // namespace bench
