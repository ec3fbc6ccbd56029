// The thread that removes what withdrawn shares leave in the storage, a little at a time.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "server/engine.h"

namespace index_server {

/// What is withdrawn survives in the storage, so a removal that was cut goes on at the next start.
class share_removal {
public:
    explicit share_removal(engine& storage) : storage_(storage) {}
    /// Stops.
    ~share_removal();
    share_removal(const share_removal&) = delete;
    share_removal& operator=(const share_removal&) = delete;

    /// Begins with what a former run left. Belongs to the owner's thread, as `stop` does.
    void start();
    /// Lets the step under way come to its end.
    void stop();

    /// Looks for withdrawn shares again. Any thread.
    void wake();

private:
    void work();
    void remove_all();
    bool is_stopping();

    engine& storage_;
    std::mutex mutex_;  // guards stopping_ and pending_; never held across the storage
    std::condition_variable changed_;
    bool stopping_ = false;
    bool pending_ = true;
    std::thread thread_;
};

}  // namespace index_server
