// The requests of the JSON API: bodies with a few known members, and pages.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>

#include <boost/json/object.hpp>

namespace index_server {

/// A request that cannot be understood. The text is a sentence for whoever sent it.
class bad_request : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A body that is a JSON object. An empty body stands for one without members.
class json_request {
public:
    /// Throws bad_request for anything else, and for members that are not among `known`.
    json_request(const std::string& body, std::initializer_list<const char*> known);

    // Each throws bad_request when the member is of another kind or out of bounds.
    std::optional<std::string> text(const char* member) const;
    std::optional<std::int64_t> number(const char* member, std::int64_t least, std::int64_t most) const;
    /// False when it is missing.
    bool flag(const char* member) const;
    /// A place that an earlier answer told as `after`; empty when the member is missing.
    std::string place(const char* member) const;

    std::int64_t required_number(const char* member, std::int64_t least, std::int64_t most) const;
    std::string required_text(const char* member) const;

private:
    const boost::json::value* find(const char* member) const;

    boost::json::object members_;
};

/// The part of a list that a request wants.
struct wanted_page {
    std::size_t limit = 0;
    std::string after;  ///< the place that the page before ended at; empty for the first one
};

/// Reads `limit`, from 1 to 1000 and 100 by itself, and `after` of a query text. Throws bad_request.
wanted_page read_page(const std::string& query);

/// The number that a place stands for, where places are numbers; `first` for an empty one. Throws bad_request.
std::int64_t place_number(const std::string& place, std::int64_t first);

/// A place as it stands in answers: opaque to clients.
std::string place_text(const std::string& place);

}  // namespace index_server
