// Runs the library's flush, which has no time limit, on a thread of its own, so that those who want fresh answers can
// give up waiting.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

#include "share/index_port.h"

namespace share_host {

/// One thread, started by the constructor. Requests that arrive during a flush share the next one, since the running
/// one may have begun before their changes.
class delivery_worker {
public:
    /// `flush` returns 0 when everything accepted before its start has been delivered. What was pending before this
    /// call counts as delivered now.
    explicit delivery_worker(std::function<int()> flush);
    ~delivery_worker();
    delivery_worker(const delivery_worker&) = delete;
    delivery_worker& operator=(const delivery_worker&) = delete;

    /// As index_port::deliver. Returns at once when the worker ends. Any thread.
    freshness deliver(std::chrono::milliseconds timeout, std::stop_token stop);

    /// Starts no further flush and waits for the running one. True: `flush` will not be entered again and is not
    /// running. False: it still runs, and what it works on must stay.
    bool end(std::chrono::steady_clock::time_point deadline);

private:
    struct inner;
    static void run(const std::shared_ptr<inner>& shared);

    std::shared_ptr<inner> inner_;
};

}  // namespace share_host
