// Taking a request's head apart.
#include "server/http_head.h"

#include <boost/beast/core/string.hpp>

namespace index_server {

namespace beast = boost::beast;
namespace http = beast::http;

namespace {

/// The token of "Bearer <token>".
std::optional<std::string> bearer_token(beast::string_view value) {
    constexpr beast::string_view scheme = "Bearer ";
    if (value.size() <= scheme.size() || !beast::iequals(value.substr(0, scheme.size()), scheme)) return std::nullopt;
    return std::string(value.substr(scheme.size()));
}

}  // namespace

http_head head_of(const request_parser& parser) {
    const auto& request = parser.get();
    http_head result;
    result.method = std::string(request.method_string());
    const std::string target(request.target());
    const std::size_t mark = target.find('?');
    result.path = target.substr(0, mark);
    if (mark != std::string::npos) result.query = target.substr(mark + 1);
    result.token = bearer_token(request[http::field::authorization]);
    if (const auto length = parser.content_length()) result.body_bytes = *length;
    return result;
}

bool has_more_fields(const request_parser& parser, std::size_t most) {
    std::size_t count = 0;
    for (auto field = parser.get().begin(); field != parser.get().end(); ++field) {
        if (++count > most) return true;
    }
    return false;
}

}  // namespace index_server
