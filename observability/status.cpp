// The two status texts. msg_lock guards them alone and is not taken while cl_lock is held.
#include "core/index_iface.h"

std::string index_iface::get_flush_status_msg() {
    const std::lock_guard<std::mutex> lock(msg_lock);
    return flush_status_msg;
}

std::string index_iface::get_query_status_msg() {
    const std::lock_guard<std::mutex> lock(msg_lock);
    return query_status_msg;
}

void index_iface::set_query_msg_success() {
    const std::lock_guard<std::mutex> lock(msg_lock);
    query_status_msg = "operational";
}

void index_iface::set_query_msg_failed() {
    const std::lock_guard<std::mutex> lock(msg_lock);
    query_status_msg = "failed";
}
