// The making of the tables by servers that start at the same moment.
#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <vector>

#include "server/engine.h"
#include "tests/storage/postgresql_server.h"
#include "tests/storage/test_storage.h"

namespace index_server {

namespace {

TEST(postgresql_schema, servers_that_start_at_once_on_an_empty_database_all_start) {
    if (!test_storage::is_postgresql()) GTEST_SKIP() << "the embedded engine has one server";
    constexpr int servers = 4;
    const std::string settings = postgresql_server::of_process().make_database();
    std::latch start(servers);
    std::vector<std::thread> threads;
    for (int i = 0; i < servers; ++i) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            EXPECT_NO_THROW(open_postgresql_engine(settings, "test")->register_share("docs"));
        });
    }
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(open_postgresql_engine(settings, "test")->shares().size(), 1u);
}

}  // namespace

}  // namespace index_server
