// The fixture's verbs.
#include "tests/support/share_test.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include "flush/event.h"
#include "hostkit/log.h"
#include "hostkit/settings.h"

namespace {

index_iface_browse_fields asked(const char* path, const char* guid, long before = 0, long after = 0) {
    index_iface_browse_fields fields;
    fields.path = path;
    fields.object_guid = guid;
    fields.before_time = before;
    fields.after_time = after;
    return fields;
}

/// The record that a query gives, as a text, or its result.
template <class Query>
std::string answer(Query query) {
    index_iface_props props;
    const int ret = query(props);
    return ret == 0 ? text_of(props) : std::to_string(ret);
}

}  // namespace

share_test::share_test() {
    script_good_host();
    root_text = (root / "state").string();
    hostkit::open_log({.level = 7, .file = root / "log"});
    arguments.subclient_id = 42;
    arguments.flush_after_count = 512;
    arguments.root_dir = root_text.c_str();
    arguments.share_name = "docs";
}

share_test::~share_test() {
    share.reset();
    g_ptrLogWriter.reset();
}

void share_test::script_good_host() {
    scripted::reset_host();
    auto& settings = hostkit::process_settings();
    for (const auto& [key, value] : {std::pair("machine", "gateway"),
                                     {"client_id.42", "77"},
                                     {"web_client_id", "1042"},
                                     {"web_host", "web*host"},
                                     {"job_results", "/results"}}) {
        settings.set("identity", key, value);
    }
    settings.set("server", "url", "http://index.test/");
    settings.set("Lumo", "nDisableJournalSave", "0");
    scripted::host().http.standing.text = search_answer({"path=/5 name=5 object=root"});
    scripted::host().management.answers = {
        {516377915,
         {0,
          "<GetClientPropertiesResponse><clients><clientProps><indexProps><indexServer><serverClient "
          "serverClientId='31'/><capabilities><serverEntity serverEntityName='idx'/></capabilities></indexServer>"
          "</indexProps></clientProps></clients></GetClientPropertiesResponse>"}},
        {223303891, {0, "<IndexServerList><engines cloudId='9' engineType='4'/></IndexServerList>"}},
        {509216237, {0, "<GetSyncWebFolderResp><folders><folder folderId='5'/></folders></GetSyncWebFolderResp>"}}};
}

index_iface& share_test::make() {
    share.reset();
    share = std::make_unique<index_iface>(arguments);
    return *share;
}

int share_test::init() {
    if (!share) make();
    const int ret = share->init();
    if (ret == 0) reach::term_thread(*share);
    return ret;
}

int share_test::restart() {
    share.reset();
    return init();
}

void share_test::start_over() {
    share.reset();
    std::filesystem::remove_all(root / "state");
    script_good_host();
    clear_log();
    ASSERT_EQ(init(), 0);
}

void share_test::cycle() {
    reach::flush_event(*share)->set();
    reach::run_flush_cycle(*share);
}

std::string share_test::collected() {
    EXPECT_EQ(rotate(), 0);
    EXPECT_EQ(deliver(), 0);
    return host().collect.batches.back();
}

void share_test::break_delivery(int times) {
    for (int i = 0; i < times; ++i)
        host().collect.waits.push_back({CXoError(), App::ProcessingStatus_FAILED});
}

std::string share_test::cached(const std::string& path, const std::string& version, long before, long after) {
    index_iface_browse_fields fields = asked(path.c_str(), nullptr, before, after);
    fields.version_guid = version.empty() ? nullptr : version.c_str();
    return answer([&](auto& props) { return reach::find_props_in_cache_by_path(*share, fields, props); });
}

std::string share_test::found(const std::string& path, long before) {
    return answer([&](auto& props) { return share->find_by_path(asked(path.c_str(), nullptr, before), props); });
}

std::string share_test::cached_guid(const char* guid, index_iface_time_t real_before) {
    index_iface_browse_fields fields = asked(nullptr, guid);
    fields.real_before_time = real_before;
    return answer([&](auto& props) { return reach::find_props_in_cache_by_guid(*share, fields, props); });
}

std::string share_test::found_guid(const char* guid, long before) {
    return answer([&](auto& props) { return share->find_by_guid(asked(nullptr, guid, before), props); });
}

bool share_test::touched(const std::string& guid) {
    return reach::find_in_par_cache_by_guid(*share, asked(nullptr, guid.c_str())) == 0;
}

int share_test::browse(browse_call call, const char* of, long before, long after) {
    index_iface_browse_fields fields = asked(of, of, before, after);
    fields.real_before_time = 10'000'000'000;
    return keep((share.get()->*call)(fields, results));
}

int share_test::keep(int ret) {
    listed.clear();
    for (const auto* props : results)
        listed += text_of(*props) + "\n";
    const int count = static_cast<int>(results.size());
    share->delete_browse_memory(results);
    EXPECT_TRUE(results.empty());
    return ret == 0 ? count : -ret;
}

std::string share_test::items(const index_iface::index_iface_cache* cache) {
    std::string text;
    for (const auto* item = cache->first; item != nullptr; item = item->list_next) {
        text += text.empty() ? "" : " ";
        text += item->key;
        text += item->props == nullptr ? ":-"
                                       : ":" + std::to_string(item->props->idx_ops) + ":" + item->props->version_guid;
    }
    return text;
}

std::string share_test::counter(const std::string& name) {
    std::map<std::string, std::string> counters;
    share->get_counters(counters);
    return counters["index." + name];
}

std::string share_test::read_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void share_test::write_file(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

bool share_test::logged(int level, const std::string& text) {
    std::istringstream lines(read_file(root / "log").substr(log_begin));
    std::string moment, thread, line;
    for (int line_level = 0; lines >> moment >> thread >> line_level && std::getline(lines, line);) {
        if (line_level == level && line.find(text) != std::string::npos) return true;
    }
    return false;
}
