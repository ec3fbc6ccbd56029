// The text form of messages: whatever is read can be written, and reads back the same.
#include "host/message_classes.h"
#include "tests/fuzz/input.h"

namespace {

template <class Message>
void check(const std::string& text) {
    std::string given = text;
    Message first;
    if (first.unserialize(given) != 0) return;
    std::string written;
    first.serialize(written, false);
    std::string again = written;
    Message second;
    require(second.unserialize(again) == 0, "a written message can be read");
    std::string rewritten;
    second.serialize(rewritten, false);
    require(written == rewritten, "a message survives the text form");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = text_of(data, size);
    check<KT5ContentIndexing::ZYSearchReq>(text);
    check<KT5ContentIndexing::ZYSearchResp>(text);
    check<App::GetClientPropertiesRequest>(text);
    check<App::GetClientPropertiesResponse>(text);
    return 0;
}
