// The asking side of an index server's JSON API.
#pragma once

#include <functional>
#include <string>

#include <boost/json/object.hpp>

#include "hostkit/http_exchange.h"
#include "iif/commands.h"

namespace iif {

/// The token in a file, without the white space after it. Throws program_error when there is no such file.
std::string read_token_file(const std::string& file);

/// Why a server refused, in its own words where it has any.
std::string stated_reason(const hostkit::http_answer& answer);

/// Talks to one server with its admin token. Not for several threads. Each question throws program_error: not_found
/// for what is not there, refused, cannot_reach when no sensible answer comes.
class admin_client {
public:
    /// Takes what the options leave out from the settings url and admin_token_file in [server].
    explicit admin_client(const admin_options& options);

    boost::json::object get(const std::string& path) const;
    /// `patience_ms` bounds the exchange; 0 is the usual bound, below 0 is none.
    boost::json::object post(const std::string& path, const boost::json::object& body, long patience_ms = 0) const;

    /// Shows every entry of a list that comes in pages. `path` may have a query; `member` holds a page's entries.
    void for_each(const std::string& path, const char* member,
                  const std::function<void(const boost::json::object&)>& show) const;

    /// Asks for one step after the other until all are done, showing each answer.
    void walk(const std::string& path, boost::json::object body,
              const std::function<void(const boost::json::object&)>& show) const;

    /// The share of that name.
    boost::json::object share(const std::string& name) const;
    /// The one of that name, or all when it is empty.
    std::vector<boost::json::object> shares(const std::string& name) const;
    /// Whether there is a share of that name.
    bool has_share(const std::string& name) const;

private:
    boost::json::object exchange(hostkit::http_request request, const std::string& path) const;

    std::string url_;
    std::string token_;
};

/// The path of an operation on a share, as the API tells it.
std::string share_path(const boost::json::object& share, const std::string& operation = {});

/// Members of an answer. Throw program_error when they are missing or of another kind.
std::string text_of(const boost::json::object& answer, const char* member);
std::int64_t number_of(const boost::json::object& answer, const char* member);

}  // namespace iif
