// A search request: understood, or every fault named; never a query out of bounds.
#include "server/search_query.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto request = index_server::read_search_text(text_of(data, size));
    if (!request) return 0;
    index_server::share target;
    target.name = "docs";
    target.subclient_id = 42;
    target.folder_id = 1234567890;
    target.root_guid = "root";
    index_server::search_query query;
    const auto faults = index_server::read_search_request(*request, target, query);
    for (const auto& fault : faults)
        require(fault.code != 0 && !fault.text.empty(), "a fault says what is wrong");
    if (faults.empty()) require(query.page_size >= 0 && query.page_start >= 0, "a page has a place");
    return 0;
}
