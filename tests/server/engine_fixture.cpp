// The verbs of the engine's fixture.
#include "tests/server/engine_fixture.h"

#include <tuple>

namespace index_server {

namespace {

using KT5ContentIndexing::FieldValue;
using KT5ContentIndexing::GResultItem;
using KT5ContentIndexing::NameValueMap;
using KT5ContentIndexing::SearchParameters;
using KT5ContentIndexing::ZYSearchGroup;
using KT5ContentIndexing::ZYSearchReq;
using KT5ContentIndexing::ZYSearchResp;

const std::string columns =
    "SIZEINKB,MODIFIEDTIME,FILE_NAME,PARENT_GUID,ENTITY_MODE,DATE_DELETED,VERSION_TIME,OWNER,"
    "LINK_TARGET,EXTENDED_ATTR,EXTENT_NUMBER,EXTENT_SIZE,IS_EXTENT_PRESENT,";

found_item read_item(GResultItem& item, const std::string& root) {
    found_item found;
    found.path = item.getstring(2, 5);
    if (found.path.rfind(root, 0) == 0) found.path.erase(0, root.size());
    found.name = item.getstring(3, 9);
    found.object = item.getstring(24, 51);
    found.version = item.getstring(37, 82);
    found.parent = item.getstring(46, 103);
    found.size = item.getint64(33);
    found.mtime = item.getint64(34);
    const auto attributes = item.getObjectAccessor(true, false, 50, 110, 14, 32);
    found.xattr = attributes->getstring(13, 19);
    found.mode = attributes->getint64(9);
    found.vtime = attributes->getint64(16);
    found.dtime = attributes->getint64(17);
    found.extent_number = attributes->getint64(15);
    found.extent_type = attributes->getint64(10);
    const auto properties = item.getObjectAccessor(true, false, 26, 56, 14, 26);
    const auto entries = properties->getlistobject<NameValueMap>(1, 1, false);
    for (auto& entry : *entries)
        found.properties[entry.getstring(1, 1)] = entry.getstring(2, 5);
    return found;
}

}  // namespace

engine_fixture::engine_fixture() {
    reopen();
    docs = store->register_share("docs");
}

void engine_fixture::reopen() {
    store.reset();
    store = storage.open();
}

apply_outcome engine_fixture::apply(const share& to, const std::vector<std::string>& lines) {
    std::string bytes;
    for (const std::string& line : lines)
        bytes += "*??|" + line + "|\n";
    return apply_bytes(to, bytes);
}

apply_outcome engine_fixture::apply_bytes(const share& to, const std::string& bytes) {
    scratch.put("lines.zyf", bytes);
    return store->apply_collect_file(to, scratch / "lines.zyf");
}

void engine_fixture::add_filter(ZYSearchReq& request, const std::string& name, const std::vector<std::string>& values,
                                int mode) {
    const auto filters = request.getObjectAccessor(true, true, 2, 2, 14, 157);
    const auto groups = filters->getlistobject<ZYSearchGroup>(3, 3, true);
    if (groups->empty()) groups->emplace_back().setint64(3, 3, 2);
    const auto criteria = groups->front().getObjectAccessor(true, true, 4, 4, 14, 150);
    criteria->setint64(3, 6, 2);
    FieldValue field;
    field.setstring(1, 1, name);
    field.setint64(3, 6, mode);
    *field.getObjectAccessor(true, true, 2, 5, 14, 127)->getliststring(1, 1, true) = values;
    criteria->getlistobject<FieldValue>(2, 5, true)->push_back(field);
}

void engine_fixture::add_option(ZYSearchReq& request, const std::string& name, const std::string& value) {
    const auto processing =
        request.getObjectAccessor<KT5ContentIndexing::SearchProcessingInfo>(true, true, 1, 1, 14, 159);
    SearchParameters& option = processing->getlistobject<SearchParameters>(5, 5, true)->emplace_back();
    option.setstring(1, 1, name);
    option.setstring(2, 5, value);
}

ZYSearchReq engine_fixture::request(const share& of, ask_for what, const std::string& value, const asked& how) {
    const bool extents = what == ask_for::extents || what == ask_for::extents_to_back_up;
    const bool one = what == ask_for::path || what == ask_for::guid;
    ZYSearchReq made;
    made.setint64(6, 6, 4);
    if (how.at != 0 || how.after != 0) {
        const long long high = how.at != 0 ? how.at : 4000000000;
        add_filter(made, "VTIME_SEC", {std::to_string(how.after), std::to_string(high)}, 2);
    }
    add_filter(made, "IS_VISIBLE", {"true"}, 2);
    const std::string root = "/" + std::to_string(of.folder_id);
    if (what == ask_for::path || what == ask_for::path_children) {
        add_filter(made, one ? "EXACT_PATH" : "BROWSE_PATH", {value == "/" ? root : root + value}, 2);
    } else if (what == ask_for::extents_to_back_up) {
        add_filter(made, "AFILEID", {"*"}, 4);
    } else {
        add_filter(made, one ? "CONTENTID" : "PARENT_GUID", {value}, 2);
    }
    add_filter(made, "DATA_TYPE", {"1", "2", "3", "4", "5", "6", "7", "8"}, 0);
    const bool grouped = what == ask_for::extents || (!one && !extents && how.at != 0);
    const bool ordered = what != ask_for::extents_to_back_up;
    const std::string share_key = "zyurl_" + std::to_string(of.subclient_id), fast = "FAST_URL,";
    const std::tuple<bool, const char*, std::string> options[] = {
        {how.at != 0 && !extents, "ENABLE_ALL_VERSIONS", "true"},
        {true, "RESPONSE_FIELD_LIST", (what == ask_for::guid ? fast : "") + columns + "custom_*,DELETED_TIME"},
        {extents, "ENABLE_EXTENT_SEARCH", "true"},
        {how.fold_case, "CASE_INSENSITIVE", "true"},
        {grouped, "GROUP_RESULTS_BY", extents ? "EXTENT_NUMBER" : share_key},
        {grouped, "SORT_GROUPS_BY", "VERSION_TIME"},
        {grouped, "SORT_ORDER_GROUPS_BY", "desc"},
        {grouped, "GROUP_LIMIT", "1"},
        {ordered, "SORTFIELD", extents ? "EXTENT_NUMBER" : "VERSION_TIME"},
        {ordered, "SORT_STYLE", one ? "desc" : "Ascending"}};
    for (const auto& [wanted, name, option] : options)
        if (wanted) add_option(made, name, option);
    const auto processing = made.getObjectAccessor<KT5ContentIndexing::SearchProcessingInfo>(true, true, 1, 1, 14, 159);
    processing->setint64(1, 1, how.page_size != 0 ? how.page_size : one ? 1 : 1000);
    processing->setint64(2, 2, how.page_start);
    return made;
}

std::string engine_fixture::answer_to(const share& of, const ZYSearchReq& asking) {
    std::string text;
    asking.serialize(text, false);
    const std::optional<search_request> read = read_search_text(text);
    return read ? store->search(of, *read) : "this is no search request";
}

std::vector<found_item> engine_fixture::sent(const share& of, ZYSearchReq asking) {
    ZYSearchResp response;
    std::string text = answer_to(of, asking);
    EXPECT_EQ(response.unserialize(text), 0);
    EXPECT_TRUE(response.getlistobject<KT5ContentIndexing::Error>(1, 1, false)->empty());
    std::vector<found_item> items;
    const auto results = response.getObjectAccessor(true, false, 7, 13, 14, 33);
    const auto found = results->getlistobject<GResultItem>(1, 1, false);
    for (auto& item : *found)
        items.push_back(read_item(item, "/" + std::to_string(of.folder_id)));
    return items;
}

bool engine_fixture::gone(const found_item& item, const asked& how) {
    return item.dtime != 0 && (how.at == 0 || how.at >= item.dtime);
}

std::string engine_fixture::find(const std::string& path, const asked& how) {
    const std::vector<found_item> items = ask(ask_for::path, path, how);
    return items.empty() || gone(items.front(), how) ? "" : items.front().version;
}

std::string engine_fixture::browse(const std::string& path, const asked& how) {
    std::string names;
    for (const found_item& item : ask(ask_for::path_children, path, how)) {
        if (!gone(item, how)) names += (names.empty() ? "" : " ") + item.name;
    }
    return names;
}

std::string engine_fixture::over_time(const std::vector<long long>& seconds,
                                      const std::function<std::string(const asked&)>& answer) {
    std::string text;
    for (const long long second : seconds) {
        const std::string answered = answer({.at = second});
        text += (text.empty() ? "" : ", ") + (answered.empty() ? "-" : answered);
    }
    return text;
}

std::string engine_fixture::errors(ZYSearchReq& asking) {
    ZYSearchResp response;
    std::string text = answer_to(docs, asking);
    EXPECT_EQ(response.unserialize(text), 0);
    std::string texts;
    const auto list = response.getlistobject<KT5ContentIndexing::Error>(1, 1, false);
    for (auto& error : *list) {
        EXPECT_NE(error.getint64(1), 0);
        texts += error.getstring(2, 2) + "\n";
    }
    return texts;
}

namespace {

/// What one row of a table says; a 't' in `kinds` stands for a text, an 'n' for a number. The first column is the id by
/// which `properties` finds the row's properties.
std::string text_of_row(const sql_statement& row, std::string_view kinds, sql_statement& properties) {
    std::string text;
    for (int column = 1; column < static_cast<int>(kinds.size()); ++column) {
        const bool is_text = kinds[static_cast<std::size_t>(column)] == 't';
        if (!row.is_null(column)) text += is_text ? std::string(row.text(column)) : std::to_string(row.integer(column));
        text += "|";
    }
    properties.bind(1, row.integer(0));
    const statement_run run(properties);
    while (properties.step())
        text += std::string(properties.text(0)) + "=" + std::string(properties.text(1)) + ",";
    return text + "\n";
}

}  // namespace

std::string engine_fixture::rows() const {
    const auto connection = storage.connect(sql_access::read);
    struct table {
        const char* kinds;
        const char* sql;
        const char* properties;
    };
    const table tables[] = {
        {"nntttttnnnnnnnnttn",
         "SELECT v.id, o.share, o.guid, v.version_guid, p.guid, v.name, v.name_key, v.state, v.vtime, v.dtime, "
         "v.data_type, v.size, v.mode, v.uid, v.mtime, v.link_target, v.xattr, "
         "CASE WHEN o.newest = v.id THEN 1 ELSE 0 END FROM version v "
         "JOIN object o ON o.share = v.share AND o.id = v.object "
         "LEFT JOIN object p ON p.share = v.share AND p.id = v.parent ORDER BY o.share, o.guid, v.vtime, v.arrival",
         "SELECT name, value FROM version_property WHERE version = ?1 ORDER BY name"},
        {"nntnttnnnn",
         "SELECT e.id, o.share, o.guid, e.number, e.version_guid, e.guid, e.vtime, e.dtime, e.size, e.extent_type "
         "FROM extent e JOIN object o ON o.share = e.share AND o.id = e.file "
         "ORDER BY o.share, o.guid, e.number, e.vtime, e.arrival",
         "SELECT name, value FROM extent_property WHERE extent = ?1 ORDER BY name"}};
    std::string text;
    for (const table& each : tables) {
        sql_statement row(*connection, each.sql);
        sql_statement properties(*connection, each.properties);
        while (row.step())
            text += text_of_row(row, each.kinds, properties);
    }
    return text;
}

}  // namespace index_server
