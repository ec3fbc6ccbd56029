// What start-up needs only while it runs.
#pragma once

#include <string>

#include "core/index_iface.h"
#include "host/identity.h"

struct index_iface::init_locals {
    ZYPlatformInfo platform_info;
    std::string focus_client_name;
    int web_server_client_id = 0;
    std::string web_server_host_name;
    std::string web_url;                ///< ends with a slash: the service's path is appended as it is
    std::string job_results_directory;  ///< of the web client
    std::string mangled_host_name;      ///< of the web client
    bool leave_at_once = false;         ///< the one failure after which nothing is taken back
};
