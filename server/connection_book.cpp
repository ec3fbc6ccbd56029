// Book-keeping of connections.
#include "server/connection_book.h"

#include <vector>

namespace index_server {

std::shared_ptr<void> connection_book::take_place(const std::string& address, const server_settings& limits,
                                                  refusal& why) {
    const std::lock_guard lock(mutex_);
    why = refusal::none;
    if (places_.size() >= limits.max_connections) why = refusal::too_many;
    const auto neighbours = of_address_.find(address);
    if (neighbours != of_address_.end() && neighbours->second >= limits.max_connections_per_address) {
        why = refusal::too_many_of_address;
    }
    if (why != refusal::none) return nullptr;
    const std::uint64_t number = ++last_;
    places_[number].address = address;
    ++of_address_[address];
    return {new std::uint64_t(number), [this](const std::uint64_t* taken) {
                leave(*taken);
                delete taken;
            }};
}

void connection_book::enter(const std::shared_ptr<void>& ticket, const std::shared_ptr<live_connection>& connection) {
    const std::lock_guard lock(mutex_);
    places_[*static_cast<const std::uint64_t*>(ticket.get())].connection = connection;
}

void connection_book::end_all(bool now) {
    std::vector<std::shared_ptr<live_connection>> all;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& entry : places_)
            all.push_back(entry.second.connection.lock());
    }
    for (const auto& connection : all) {
        if (connection) connection->end(now);
    }
}

void connection_book::wait_for_present(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    const std::uint64_t newest = last_;
    left_.wait_for(lock, limit, [&] { return places_.empty() || places_.begin()->first > newest; });
}

void connection_book::leave(std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    const auto place = places_.find(number);
    const auto neighbours = of_address_.find(place->second.address);
    if (--neighbours->second == 0) of_address_.erase(neighbours);
    places_.erase(place);
    left_.notify_all();
}

}  // namespace index_server
