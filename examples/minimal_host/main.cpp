// The smallest host: one share, a directory with two files in it, one of which is renamed; then it asks what is there.
//
// usage: minimal_host SETTINGS_FILE STATE_DIR
//
// The settings name the index server and the share, as a registration at the server answered them:
//   [server]        url, token
//   [identity]      web_client_id=1, web_host=localhost, job_results=<a directory>, client_id.<subclient id>=<client
//   id> [minimal_host]  share=<name>, subclient_id=<subclient id>
#include <core/index_iface.h>
#include <hostkit/log.h>
#include <hostkit/settings.h>

#include <cstdio>
#include <ctime>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

void expect(int ret, const std::string& what) {
    if (ret != 0) throw std::runtime_error(what + " gave " + std::to_string(ret));
}

long long now_ns() {
    std::timespec now{};
    std::timespec_get(&now, TIME_UTC);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

/// A change as every host reports it: who the object is, where it stands, and which version of it this is. The GUIDs
/// are the host's choice; here the object's is its name, and the version's the moment.
index_iface_props change_of(const std::string& object, const std::string& parent, const std::string& path,
                            std::uint32_t mode) {
    index_iface_props props;
    props.object_guid = object;
    props.parent_guid = parent;
    props.path = path;
    props.vtime = now_ns();
    props.version_guid = object + "-" + std::to_string(props.vtime);
    props.mode = mode;
    props.mode_valid = true;
    props.size = 5;
    props.is_extent = 0;
    return props;
}

index_iface_props find(index_iface& share, const std::string& path) {
    index_iface_browse_fields fields;  // looks at the present moment
    fields.path = path.c_str();
    index_iface_props found;
    expect(share.find_by_path(fields, found), "find_by_path of " + path);
    return found;
}

void report_changes(index_iface& share) {
    // The root's GUID comes from the index; everything below it is of the host's making.
    const std::string root = find(share, "/").object_guid;
    expect(share.add_item(change_of("example-dir", root, "/example", 0040755)), "add_item");
    expect(share.add_item(change_of("example-a", "example-dir", "/example/a", 0100644)), "add_item");
    expect(share.add_item(change_of("example-b", "example-dir", "/example/b", 0100644)), "add_item");
    // Seen at once, though nothing has left this machine yet.
    std::printf("pending: %s\n", find(share, "/example/a").object_guid.c_str());
    // With flush_now the call returns when the index has it all.
    expect(share.rename_item(change_of("example-b", "example-dir", "/example/c", 0100644), "example-dir", "/example/b",
                             true),
           "rename_item");
    std::printf("renamed: %s\n", find(share, "/example/c").object_guid.c_str());
}

void list_directory(index_iface& share) {
    index_iface_browse_fields fields;
    fields.path = "/example";
    index_iface::props_list children;
    expect(share.browse_by_path(fields, children), "browse_by_path");
    for (const index_iface_props* child : children)
        std::printf("child: %s %s\n", child->path.c_str(), child->object_guid.c_str());
    share.delete_browse_memory(children);
}

void run(const std::string& settings_file, const char* state_dir) {
    hostkit::load_process_settings(settings_file);
    hostkit::open_log({.level = 0, .file = {}});
    const hostkit::settings& settings = hostkit::process_settings();
    const std::string name = settings.get("minimal_host", "share", "");
    index_iface::args arguments;
    arguments.subclient_id =
        static_cast<std::uint64_t>(settings.find_number("minimal_host", "subclient_id").value_or(0));
    arguments.flush_after_count = 1000;
    arguments.flush_after_seconds = 5;
    arguments.root_dir = state_dir;
    arguments.share_name = name.c_str();
    index_iface share(arguments);
    expect(share.init(), "init");
    report_changes(share);
    list_directory(share);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: minimal_host SETTINGS_FILE STATE_DIR\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "minimal_host: %s\n", failure.what());
        return 1;
    }
    return 0;
}
