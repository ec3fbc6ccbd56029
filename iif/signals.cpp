// Turns SIGINT and SIGTERM into a stop request that the program's loops poll, and SIGHUP into something to wait for.
//
//   signal   a stop is requested: no new work; a delivery under way may end
//   + grace  what is still on the network is cut short, so that nothing waits for a server that does not answer
//   signal   the process ends where it stands
#include "iif/signals.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>

#include "hostkit/http_exchange.h"

namespace iif {
namespace {

/// What a server that is well needs for the batch it has in hand.
constexpr timespec grace{2, 0};

sigset_t watched_signals(signal_watch::hangups mode) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGUSR2);  // sent by the destructor alone, to end the wait
    if (mode == signal_watch::hangups::are_told) sigaddset(&set, SIGHUP);
    return set;
}

/// The next of the signals, or 0 when the limit passes first; without one it waits for as long as it takes.
int next_signal(const sigset_t& set, const timespec* limit) {
    for (;;) {
        const int received = limit != nullptr ? ::sigtimedwait(&set, nullptr, limit) : ::sigwaitinfo(&set, nullptr);
        if (received > 0) return received;
        if (errno == EAGAIN) return 0;
    }
}

}  // namespace

signal_watch::signal_watch(hangups mode) : mode_(mode) {
    ::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = watched_signals(mode_);
    pthread_sigmask(SIG_BLOCK, &set, &former_mask_);
    watcher_ = std::thread([this] { watch(); });
}

void signal_watch::watch() {
    const sigset_t set = watched_signals(mode_);
    bool in_grace = false;
    for (;;) {
        const int received = next_signal(set, in_grace ? &grace : nullptr);
        if (received == SIGUSR2) return;
        if (received == SIGHUP) {
            const std::lock_guard lock(mutex_);
            hung_up_ = true;
            changed_.notify_all();
        } else if (received == 0) {
            hostkit::interrupt_exchanges(true);
            in_grace = false;
        } else {
            // Someone who asks twice no longer cares for an orderly end; the journals keep what was accepted.
            if (!source_.request_stop()) ::_exit(128 + received);
            in_grace = true;
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
    pthread_sigmask(SIG_SETMASK, &former_mask_, nullptr);
}

bool sleep_unless_stopped(std::stop_token stop, std::chrono::milliseconds span) {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    return !wake.wait_for(lock, stop, span, [&] { return stop.stop_requested(); });
}

}  // namespace iif
