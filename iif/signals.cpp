// Signals on a thread of their own.
#include "iif/signals.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace iif {
namespace {

sigset_t watched_signals(signal_watch::hangups mode) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGUSR2);  // sent by the destructor alone, to end the wait
    if (mode == signal_watch::hangups::are_told) sigaddset(&set, SIGHUP);
    return set;
}

}  // namespace

signal_watch::signal_watch(hangups mode) : mode_(mode) {
    ::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = watched_signals(mode_);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    watcher_ = std::thread([this] { watch(); });
}

void signal_watch::watch() {
    const sigset_t set = watched_signals(mode_);
    for (;;) {
        int received = 0;
        if (sigwait(&set, &received) != 0 || received == SIGUSR2) return;
        if (received == SIGHUP) {
            const std::lock_guard lock(mutex_);
            hung_up_ = true;
            changed_.notify_all();
        } else if (!source_.request_stop()) {
            // Someone who asks twice no longer cares for an orderly end; the journals keep what was accepted.
            ::_exit(128 + received);
        }
    }
}

bool signal_watch::wait_for_hangup() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait(lock, source_.get_token(), [this] { return hung_up_; })) return false;
    hung_up_ = false;
    return true;
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
