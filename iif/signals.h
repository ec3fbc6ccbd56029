// Turns SIGINT and SIGTERM into a stop request that the program's loops poll.
#pragma once

#include <signal.h>

#include <chrono>
#include <stop_token>
#include <thread>

namespace iif {

/// Blocks SIGINT and SIGTERM in this thread and in those started after it, and waits for them on a thread of its own.
/// The first one requests the stop and, 2 seconds later, ends every network exchange of the process, those to come
/// included, so that no part of the way out hangs on a server. A second one ends the process at once with the usual
/// code of that signal. SIGPIPE is ignored. Make one, in main's thread, before any other thread exists.
class signal_watch {
public:
    signal_watch();
    /// Signals have their former effect again, so that between two watches none is lost.
    ~signal_watch();
    signal_watch(const signal_watch&) = delete;
    signal_watch& operator=(const signal_watch&) = delete;

    std::stop_token stop() const { return source_.get_token(); }

private:
    sigset_t former_mask_;
    std::stop_source source_;
    std::thread watcher_;
};

/// Sleeps for `span`, or less when a stop is requested. Returns false when it was.
bool sleep_unless_stopped(std::stop_token stop, std::chrono::milliseconds span);

}  // namespace iif
