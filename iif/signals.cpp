// Turns SIGINT and SIGTERM into a stop request that the program's loops poll.
#include "iif/signals.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

namespace iif {
namespace {

sigset_t watched_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGUSR2);  // sent by the destructor alone, to end the wait
    return set;
}

}  // namespace

signal_watch::signal_watch() {
    ::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = watched_signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    watcher_ = std::thread([source = source_, set]() mutable {
        for (;;) {
            int received = 0;
            if (sigwait(&set, &received) != 0) return;
            if (received == SIGUSR2) return;
            // Someone who asks twice no longer cares for an orderly end; the journals keep what was accepted.
            if (!source.request_stop()) ::_exit(128 + received);
        }
    });
}

signal_watch::~signal_watch() {
    pthread_kill(watcher_.native_handle(), SIGUSR2);
    watcher_.join();
}

bool sleep_unless_stopped(std::stop_token stop, std::chrono::milliseconds span) {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    return !wake.wait_for(lock, stop, span, [&] { return stop.stop_requested(); });
}

}  // namespace iif
