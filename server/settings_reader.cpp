// Reading of section [server]. docs/operations.md lists the keys.
#include "server/settings_reader.h"

#include <cstdint>
#include <stdexcept>
#include <string>

#include "hostkit/settings.h"

namespace index_server {

namespace {

constexpr const char* section = "server";

/// Lays a number over its default, where it is set.
template <class Number>
void read_number(const hostkit::settings& from, const char* key, long long least, long long most, Number& into) {
    if (!from.find(section, key)) return;
    const auto number = from.find_number(section, key);
    if (!number || *number < least || *number > most) {
        throw std::runtime_error("the setting " + std::string(key) + " in [server] is not a whole number from " +
                                 std::to_string(least) + " to " + std::to_string(most));
    }
    into = static_cast<Number>(*number);
}

/// The connection string of the engine that keeps its index elsewhere; empty for the embedded one. What the string
/// says is never shown: it may hold a password.
std::string read_postgresql(const hostkit::settings& from) {
    const std::string engine = from.get(section, "engine", "sqlite");
    if (engine == "sqlite") return {};
    if (engine != "postgresql")
        throw std::runtime_error("the setting engine in [server] is neither sqlite nor postgresql");
    std::string database = from.get(section, "postgresql", "");
    if (database.empty())
        throw std::runtime_error("engine = postgresql in [server] takes a connection string in the setting postgresql");
    return database;
}

}  // namespace

server_settings read_server_settings(const hostkit::settings& from) {
    constexpr long long kib = 1024, gib = kib * kib * kib, hour_ms = 3600000;
    server_settings to;
    int allow_plain = 0;
    read_number(from, "allow_plain", 0, 1, allow_plain);
    to.allow_plain_off_loopback = allow_plain != 0;
    to.listen_address = from.get(section, "listen", to.listen_address);
    read_number(from, "port", 0, UINT16_MAX, to.port);
    to.postgresql = read_postgresql(from);
    to.tls_certificate = from.get(section, "tls_certificate", "");
    to.tls_key = from.get(section, "tls_key", "");
    to.metrics_token_file = from.get(section, "metrics_token_file", "");
    read_number(from, "max_collect_bytes", kib, kib * gib, to.max_collect_bytes);
    read_number(from, "max_search_bytes", kib, gib, to.max_search_bytes);
    read_number(from, "max_management_bytes", kib, gib, to.max_management_bytes);
    read_number(from, "max_header_bytes", kib, kib * kib, to.max_header_bytes);
    read_number(from, "max_header_fields", 8, 10000, to.max_header_fields);
    read_number(from, "max_connections", 1, 1000000, to.max_connections);
    read_number(from, "max_connections_per_address", 1, 1000000, to.max_connections_per_address);
    read_number(from, "header_timeout_ms", 100, hour_ms, to.header_timeout_ms);
    read_number(from, "body_timeout_ms", 100, hour_ms, to.body_timeout_ms);
    read_number(from, "idle_timeout_ms", 100, hour_ms, to.idle_timeout_ms);
    read_number(from, "longest_wait_ms", 100, hour_ms, to.longest_wait_ms);
    read_number(from, "stop_timeout_ms", 100, hour_ms, to.stop_timeout_ms);
    return to;
}

}  // namespace index_server
