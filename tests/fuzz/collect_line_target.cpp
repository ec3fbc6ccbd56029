// A line of a collect file: understood or refused with a reason, and nothing in it points outside of the line.
#include <functional>

#include "server/collect_line.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A copy of its own size, so that a read past its end is seen.
    const std::string text = text_of(data, size);
    index_server::collect_line line;
    if (!index_server::parse_collect_line(text, line).empty()) return 0;
    require(!line.object_guid.empty(), "a line has an object");
    const auto inside = [&](std::string_view part) {
        const std::less_equal<const char*> before;
        return part.empty() ||
               (before(text.data(), part.data()) && before(part.data() + part.size(), text.data() + text.size()));
    };
    for (const std::string_view part :
         {line.version_guid, line.object_guid, line.parent_guid, line.link_target, line.xattr, line.name})
        require(inside(part), "a text lies in the line");
    for (const auto& [name, value] : line.custom_props)
        require(inside(name) && inside(value), "a custom property lies in the line");
    return 0;
}
