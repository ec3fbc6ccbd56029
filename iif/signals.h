// Turns SIGINT and SIGTERM into a stop request that the program's loops poll, and SIGHUP into something to wait for.
#pragma once

#include <signal.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace iif {

/// Blocks SIGINT and SIGTERM in this thread and in those started after it, and waits for them on a thread of its own.
/// The first one requests the stop and, 2 seconds later, ends every network exchange of the process, those to come
/// included, so that no part of the way out hangs on a server. A second one ends the process at once with the usual
/// code of that signal. SIGPIPE is ignored. With `hangups`, SIGHUP is taken too, and told by wait_for_hangup. Make one,
/// in main's thread, before any other thread exists.
class signal_watch {
public:
    enum class hangups { end_the_process, are_told };
    explicit signal_watch(hangups mode = hangups::end_the_process);
    /// Signals have their former effect again, so that between two watches none is lost.
    ~signal_watch();
    signal_watch(const signal_watch&) = delete;
    signal_watch& operator=(const signal_watch&) = delete;

    std::stop_token stop() const { return source_.get_token(); }

    /// Waits for the next SIGHUP; several that nobody waited for count as one. Returns false when a stop was requested.
    bool wait_for_hangup();

private:
    void watch();

    sigset_t former_mask_;
    std::stop_source source_;
    std::mutex mutex_;  // guards hung_up_
    std::condition_variable_any changed_;
    bool hung_up_ = false;
    const hangups mode_;
    std::thread watcher_;
};

/// Sleeps for `span`, or less when a stop is requested. Returns false when it was.
bool sleep_unless_stopped(std::stop_token stop, std::chrono::milliseconds span);

}  // namespace iif
