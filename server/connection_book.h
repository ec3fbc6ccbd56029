// Which connections a listener has, and how many it may have.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "server/http_connection.h"

namespace index_server {

/// Any thread; outlives all connections.
class connection_book {
public:
    enum class refusal { none, too_many, too_many_of_address };

    /// A place for a connection from `address`; it is given back when the ticket goes. Without a ticket, `why` says
    /// what stands against it.
    std::shared_ptr<void> take_place(const std::string& address, const server_settings& limits, refusal& why);

    /// The connection that a ticket was taken for.
    void enter(const std::shared_ptr<void>& ticket, const std::shared_ptr<live_connection>& connection);

    void end_all(bool now);

    /// Waits until the connections that are there now are gone; later ones do not count.
    void wait_for_present(std::chrono::milliseconds limit);

private:
    struct place {
        std::string address;
        std::weak_ptr<live_connection> connection;
    };

    void leave(std::uint64_t number);

    std::mutex mutex_;  // guards everything here; a leaf
    std::condition_variable left_;
    std::map<std::uint64_t, place> places_;  // by the number of arrival
    std::map<std::string, std::size_t> of_address_;
    std::uint64_t last_ = 0;
};

}  // namespace index_server
