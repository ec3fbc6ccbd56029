// A request's head in plain terms.
#pragma once

#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>

#include "server/http_service.h"

namespace index_server {

using request_parser = boost::beast::http::request_parser<boost::beast::http::buffer_body>;

/// Copies what the service needs to know out of a parser that has read a whole head.
http_head head_of(const request_parser& parser);

/// True when the head has more than `most` fields.
bool has_more_fields(const request_parser& parser, std::size_t most);

}  // namespace index_server
