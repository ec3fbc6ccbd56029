// A share on the real library and an index server in this process: the whole road, and the roads around failures.
#include "share/share.h"

#include <gtest/gtest.h>

#include <memory>

#include "hostkit/settings.h"
#include "server/index_server.h"
#include "share/reconcile.h"
#include "tests/share/temporary_tree.h"

namespace share_host {
namespace {

using namespace std::chrono_literals;

class share_test : public testing::Test {
protected:
    void SetUp() override {
        tree.make_directory("tree");
        start_server();
        const index_server::share_access access = server->register_share("docs");
        subclient_id = static_cast<std::uint64_t>(access.subclient_id);
        hostkit::settings& settings = hostkit::process_settings();
        settings.set("server", "token", access.token);
        settings.set("server", "url", server->base_url());
        settings.set("identity", "client_id." + std::to_string(subclient_id), std::to_string(access.client_id));
        settings.set("identity", "web_client_id", "1");
        settings.set("identity", "web_host", "localhost");
        settings.set("identity", "job_results", tree.path);
        settings.set("Lumo", "nDisableJournalSave", "1");
    }
    void TearDown() override {
        if (served) {
            EXPECT_TRUE(served->leave(1min));
        }
    }

    void start_server() {
        index_server::server_settings settings;
        settings.data_dir = tree.at("server");
        settings.port = port;
        server = std::make_unique<index_server::index_server>(settings);
        server->start();
        port = server->port();
    }
    start_result start_share() {
        share_options options;
        options.name = "docs";
        options.root_dir = tree.at("journal");
        options.subclient_id = subclient_id;
        options.flush_after_seconds = 1;
        served = std::make_unique<share>(options);
        return served->start({});
    }
    reconcile_summary pass() {
        reconcile_options options;
        options.directory = tree.at("tree");
        const reconcile_summary summary = reconcile(*served, options, {});
        EXPECT_TRUE(served->deliver(1min, {}).fresh);
        return summary;
    }
    int find(const std::string& path, index_iface_props& props) {
        index_iface_browse_fields fields;
        fields.path = path.c_str();
        return served->find_by_path(fields, props);
    }
    std::size_t children_of(const std::string& path) {
        index_iface_browse_fields fields;
        fields.path = path.c_str();
        std::vector<index_iface_props> results;
        EXPECT_EQ(served->browse_by_path(fields, results), 0);
        return results.size();
    }

    temporary_tree tree;
    std::unique_ptr<index_server::index_server> server;
    unsigned short port = 0;
    std::uint64_t subclient_id = 0;
    std::unique_ptr<share> served;
};

TEST_F(share_test, a_tree_goes_in_settles_and_follows_changes) {
    tree.make_directory("tree/d/e");
    tree.write("tree/d/odd|<%\n\xff");
    tree.hard_link("tree/d/odd|<%\n\xff", "tree/further");
    ASSERT_EQ(start_share(), start_result::ready);
    EXPECT_EQ(pass().changes(), 5u);
    EXPECT_EQ(served->batches_delivered(), 1u);
    EXPECT_EQ(pass().changes(), 0u);
    index_iface_props found;
    ASSERT_EQ(find("/d/odd%7C%3C%25%0A%FF", found), 0);
    const index_iface_props before = found;

    tree.rename("tree/d", "tree/moved");
    tree.remove("tree/further");
    const reconcile_summary changed = pass();
    EXPECT_EQ(changed.moved, 1u);
    EXPECT_EQ(changed.deleted, 1u);
    EXPECT_EQ(pass().changes(), 0u);
    ASSERT_EQ(find("/moved/odd%7C%3C%25%0A%FF", found), 0);
    EXPECT_EQ(found.object_guid, before.object_guid);
    EXPECT_EQ(find("/d", found), ENOENT);
    EXPECT_EQ(children_of("/"), 1u);
}

TEST_F(share_test, what_was_accepted_while_the_server_was_away_arrives_once) {
    ASSERT_EQ(start_share(), start_result::ready);
    index_iface_props root;
    ASSERT_EQ(find("/", root), 0);
    server.reset();
    index_iface_props props;
    props.object_guid = "object";
    props.version_guid = "version";
    props.parent_guid = root.object_guid;
    props.path = "/kept";
    props.vtime = 5000000000;
    props.is_extent = 0;
    EXPECT_EQ(served->add_item(props), 0);
    EXPECT_FALSE(served->deliver(1min, {}).fresh);
    // The next flush waits in the library for the batch that cannot leave, so the object cannot be deleted.
    EXPECT_FALSE(served->deliver(0ms, {}).fresh);
    EXPECT_FALSE(served->leave(0ms));
    EXPECT_EQ(served->add_item(props), result_not_ready);
    start_server();
    EXPECT_TRUE(served->leave(1min));

    ASSERT_EQ(start_share(), start_result::ready);
    EXPECT_EQ(children_of("/"), 1u);
    EXPECT_EQ(pass().deleted, 1u) << "it is not on the disk";
    EXPECT_EQ(children_of("/"), 0u);
}

}  // namespace
}  // namespace share_host
