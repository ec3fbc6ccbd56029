// One thread accepts, one thread serves each connection. The destructor shuts the sockets down, which ends every wait
// for input, and then joins.
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "hostkit/log.h"
#include "share/control.h"
#include "share/control_reader.h"
#include "share/unix_socket.h"

namespace share_host {
namespace {

/// The other half of the descriptors is for the share's own files and exchanges.
std::size_t most_connections() {
    constexpr std::size_t fewest = 16;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return fewest;
    return std::max<std::size_t>(limit.rlim_cur / 2, fewest);
}

}  // namespace

struct control_server::state {
    struct connection {
        hostkit::descriptor fd;
        std::jthread thread;
        bool ended = false;
    };

    state(std::string socket_path, served_shares served)
        : path(std::move(socket_path)),
          shares(std::move(served)),
          listening(listen_at(path)),
          wake(::eventfd(0, EFD_CLOEXEC)) {
        if (!wake) throw std::system_error(errno, std::generic_category(), "cannot make an event descriptor");
    }

    const std::string path;
    const served_shares shares;
    const hostkit::descriptor listening;
    const hostkit::descriptor wake;  // readable once the server ends
    const std::size_t connection_bound = most_connections();
    std::stop_source stop;

    std::mutex lock;  // guards all below; never held during a request
    std::condition_variable changed;
    std::list<connection> connections;

    std::jthread acceptor;

    void accept_all();
    void start_connection(hostkit::descriptor fd);
    void reap();
    void serve(connection& own);
};

control_server::control_server(std::string path, served_shares shares)
    : state_(std::make_unique<state>(std::move(path), std::move(shares))) {
    state_->acceptor = std::jthread([raw = state_.get()] { raw->accept_all(); });
}

control_server::~control_server() {
    state_->stop.request_stop();
    const std::uint64_t one = 1;
    if (::write(state_->wake.get(), &one, sizeof one) < 0) {
        HOSTKIT_LOG(-1, "control: cannot wake the accepting thread, error %d", errno);
    }
    {
        // Under the lock, so that the accepting thread is not just between its look at the stop and its wait.
        const std::lock_guard guard(state_->lock);
        state_->changed.notify_all();
    }
    state_->acceptor.join();
    ::unlink(state_->path.c_str());
    {
        const std::lock_guard guard(state_->lock);
        for (const state::connection& open : state_->connections)
            ::shutdown(open.fd.get(), SHUT_RDWR);
    }
    state_->connections.clear();
}

void control_server::state::accept_all() {
    while (!stop.stop_requested()) {
        pollfd waits[] = {{listening.get(), POLLIN, 0}, {wake.get(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR) return;
        if (!(waits[0].revents & POLLIN) || stop.stop_requested()) continue;
        hostkit::descriptor fd(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
        reap();
        if (fd) start_connection(std::move(fd));
        // Beyond the bound new connections wait in the socket's queue.
        std::unique_lock guard(lock);
        changed.wait(guard, [&] {
            std::size_t open = 0;
            for (const connection& one : connections)
                open += one.ended ? 0 : 1;
            return open < connection_bound || stop.stop_requested();
        });
    }
}

void control_server::state::start_connection(hostkit::descriptor fd) {
    const std::lock_guard guard(lock);
    connection& own = connections.emplace_back();
    own.fd = std::move(fd);
    try {
        own.thread = std::jthread([this, &own] { serve(own); });
    } catch (const std::system_error& failure) {
        HOSTKIT_LOG(-1, "control: cannot start a thread for a connection: %s", failure.what());
        connections.pop_back();
    }
}

/// Frees the connections that have ended. Their threads no longer take the lock.
void control_server::state::reap() {
    std::list<connection> ended;
    const std::lock_guard guard(lock);
    for (auto one = connections.begin(); one != connections.end();) {
        const auto next = std::next(one);
        if (one->ended) ended.splice(ended.end(), connections, one);
        one = next;
    }
}

void control_server::state::serve(connection& own) {
    control_reader reader(own.fd.get(), control_line_limit);
    std::string line;
    bool open = true;
    while (open && !stop.stop_requested()) {
        switch (reader.next(line)) {
            case control_reader::outcome::line:
                open = send_all(own.fd.get(), answer_control_line(shares, line, stop.get_token()) + "\n");
                break;
            case control_reader::outcome::too_long:
                open = send_all(own.fd.get(), "{\"error\":\"the line is too long\"}\n");
                break;
            case control_reader::outcome::closed:
                open = false;
                break;
        }
    }
    ::shutdown(own.fd.get(), SHUT_RDWR);
    const std::lock_guard guard(lock);
    own.ended = true;
    changed.notify_all();
}

}  // namespace share_host
