// A request's head as the front reads it, cut into two pieces as a network may, and the query behind its path.
#include "server/http_head.h"
#include "server/query_text.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t most_fields = 100;
    const std::string text = text_of(data, size);
    index_server::request_parser parser;
    parser.header_limit(16384);
    parser.body_limit(boost::none);
    boost::system::error_code error;
    const std::size_t cut = size / 2;
    const std::size_t used = parser.put(boost::asio::buffer(text.data(), cut), error);
    if (error == boost::beast::http::error::need_more) error = {};
    if (!error && !parser.is_header_done()) {
        parser.put(boost::asio::buffer(text.data() + used, size - used), error);
    }
    if (!parser.is_header_done()) return 0;
    const index_server::http_head head = index_server::head_of(parser);
    require(head.path.find('?') == std::string::npos, "a path ends before its query");
    index_server::has_more_fields(parser, most_fields);
    const auto number = index_server::query_text(head.query).number("timeout_ms", 0, 1000);
    require(!number || (*number >= 0 && *number <= 1000), "a number is in its range");
    return 0;
}
