// Where the index is and where the share lies in it: what is asked, and what every odd answer leads to.
#include "discovery/index_location.h"
#include "tests/support/share_test.h"

using discovery = share_test;

TEST_F(discovery, index_location_takes_the_first_of_everything) {
    struct row {
        std::string clients, engines;
        int ret;
        const char *outputs, *message;
    };
    const auto client = [](const std::string& inner) {
        return "<clients><clientProps><indexProps><indexServer>" + inner +
               "</indexServer></indexProps></clientProps></clients>";
    };
    const std::string server = "<serverClient serverClientId='31'/>", other = "<serverClient serverClientId='32'/>";
    const std::string name = "<capabilities><serverEntity serverEntityName='idx'/></capabilities>";
    const std::string engine = "<engines cloudId='4294967305' engineType='5'/>";
    const char* missing = "Error: index server information not present in client propoerties obtained above.";
    const row rows[] = {
        {client(server + name) + client(other), engine + "<engines cloudId='1' engineType='4'/>", 0, "9 1 idx", ""},
        {"", engine, 0, "0 0 ", ""},
        {client(name), engine, -1, "0 0 idx", missing},
        {client(server + name), "", -1, "0 0 idx", "No index servers returned. [<IndexServerList></IndexServerList>]"},
        {client(server + name), "<wrong", -1, "0 0 idx", "Failed to unserialize response xml returned ["},
    };
    auto& management = host().management;
    const auto ask = [&] {
        std::string server_name;
        int cloud_id = 0;
        bool is_cloud = false;
        clear_log();
        const int ret = get_index_cloud_id(77, server_name, cloud_id, is_cloud);
        return std::pair(ret, std::to_string(cloud_id) + " " + std::to_string(is_cloud) + " " + server_name);
    };
    for (const row& r : rows) {
        management.answers[516377915].text =
            "<GetClientPropertiesResponse>" + r.clients + "</GetClientPropertiesResponse>";
        management.answers[223303891].text = "<IndexServerList>" + r.engines + "</IndexServerList>";
        EXPECT_EQ(ask(), std::pair(r.ret, std::string(r.outputs))) << r.clients << r.engines;
        EXPECT_EQ(logged(-1, r.message), *r.message != 0) << r.message;
    }
    script_good_host();
    management.requests.clear();
    EXPECT_EQ(ask().first, 0);
    ASSERT_EQ(management.requests.size(), 2u);
    EXPECT_NE(management.requests[0].second.find("<entities entityType=\"3\" entityId=\"77\"/>"), std::string::npos);
    EXPECT_NE(management.requests[1].second.find("<client clientId=\"31\"/>"), std::string::npos);
}
