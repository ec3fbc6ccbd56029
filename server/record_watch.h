// Keeps what one server remembers of shares and tokens in step with a storage that other servers write, too.
//
//   W1  What another server changed is known here at most `period` and one reading later: a token that was withdrawn
//       there ends here.
//   W2  Nothing is refused for being unknown before the storage was read again. However many ask for that, readings
//       take at most a tenth of the time of one connection, and one answers all that came before it began.
//   W3  When the storage cannot be read, what was known stays known.
//
// An embedded storage has one server alone: nothing is read again, and nothing of this runs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "server/engine.h"
#include "server/share_registry.h"
#include "server/token_store.h"

namespace index_server {

/// Any thread may call any operation but `start` and `stop`, which belong to the owner's thread.
class record_watch {
public:
    static constexpr std::chrono::milliseconds period{3000};

    /// What a waiter is told: whether the storage was read after it came.
    using waiter = std::function<void(bool is_current)>;

    record_watch(engine& storage, token_store& tokens, share_registry& shares)
        : storage_(storage), tokens_(tokens), shares_(shares) {}
    /// Stops.
    ~record_watch();
    record_watch(const record_watch&) = delete;
    record_watch& operator=(const record_watch&) = delete;

    void start();
    /// Lets a reading come to its end, and tells those that wait for another one that there will be none.
    void stop();

    /// Whether there can be anything that this server does not know.
    bool is_needed() const { return !storage_.is_embedded(); }

    /// Calls `done` once, after the next reading that begins, on a thread that it must not keep. Only where
    /// `is_needed`.
    void after_next_reading(waiter done);

    // The following wait for a reading when what is remembered does not suffice, and throw storage_unavailable when
    // there is none. Not for network threads.

    /// Nothing when no server registered it.
    std::optional<share> share_of(std::int64_t subclient_id);
    /// Whether the token, which was found to be `known`, grants the share.
    bool grants(const std::string& token, const grant& known, std::int64_t subclient_id);
    /// Everything that other servers had stored when this was called is known on return.
    void catch_up();

private:
    using clock = std::chrono::steady_clock;

    void work();
    bool read();

    engine& storage_;
    token_store& tokens_;
    share_registry& shares_;

    std::mutex mutex_;  // guards waiters_ and stopping_; never held across the storage or a waiter's call
    std::condition_variable changed_;
    std::vector<waiter> waiters_;
    bool stopping_ = true;
    bool is_failing_ = false;  // the watch's thread only
    std::thread thread_;
};

}  // namespace index_server
