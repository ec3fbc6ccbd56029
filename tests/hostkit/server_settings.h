// Settings of the section [server] for one test, taken back at its end.
#pragma once

#include <map>
#include <string>

#include "hostkit/settings.h"

class server_settings {
public:
    server_settings() = default;
    ~server_settings() {
        for (const auto& [key, former] : former_)
            hostkit::process_settings().set("server", key, former);
    }
    server_settings(const server_settings&) = delete;
    server_settings& operator=(const server_settings&) = delete;

    void set(const std::string& key, const std::string& value) {
        former_.emplace(key, hostkit::process_settings().get("server", key, ""));
        hostkit::process_settings().set("server", key, value);
    }

private:
    std::map<std::string, std::string> former_;
};
