// The server's settings: taken as they are meant, or refused by name.
#include "server/settings_reader.h"

#include <gtest/gtest.h>

#include "hostkit/settings.h"

namespace index_server {
namespace {

TEST(settings_reader, takes_what_is_set_and_refuses_what_is_no_good) {
    hostkit::settings given;
    given.set("server", "listen", "::1");
    given.set("server", "port", "4711");
    given.set("server", "allow_plain", "1");
    given.set("server", "body_timeout_ms", "250");
    const server_settings read = read_server_settings(given);
    EXPECT_EQ(read.listen_address, "::1");
    EXPECT_EQ(read.port, 4711);
    EXPECT_TRUE(read.allow_plain_off_loopback);
    EXPECT_EQ(read.body_timeout_ms, 250);
    EXPECT_EQ(read.max_header_bytes, server_settings().max_header_bytes);
    for (const auto& [key, value] : {std::pair("port", "65536"), {"idle_timeout_ms", "1 minute"}}) {
        hostkit::settings bad;
        bad.set("server", key, value);
        EXPECT_THROW(read_server_settings(bad), std::runtime_error) << key;
    }
}

}  // namespace
}  // namespace index_server
