// One request of the control socket, taken apart: its members by name and type, and nothing that the operation does not
// know.
#pragma once

#include <boost/json/object.hpp>
#include <chrono>
#include <initializer_list>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "share/index_port.h"

namespace share_host {

/// Borrows what it is made of. Every reader throws bad_request for what is wrong.
class control_request {
public:
    control_request(const boost::json::object& members, std::stop_token stop)
        : members_(members), stop_(std::move(stop)) {}

    /// Refuses members other than these, `op` and `share`.
    void allow(std::initializer_list<std::string_view> names) const;

    bool has(std::string_view name) const { return members_.contains(name); }
    const boost::json::object& object(std::string_view name) const;
    std::string text(std::string_view name) const;
    /// A text that an entry line can carry.
    std::string line_text(std::string_view name) const;
    /// False when it is not there.
    bool flag(std::string_view name) const;
    /// Nothing when it is not there.
    std::optional<std::chrono::milliseconds> milliseconds(std::string_view name) const;

    /// Requested when the server ends.
    const std::stop_token& stop() const { return stop_; }

private:
    const boost::json::value& member(std::string_view name, const char* kind) const;

    const boost::json::object& members_;
    const std::stop_token stop_;
};

/// What an operation does with a share.
using control_op = boost::json::object (*)(index_port& index, const control_request& request);

/// The operation of that name; null when there is none.
control_op find_control_op(std::string_view name);

}  // namespace share_host
