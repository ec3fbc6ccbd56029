// A line of the control socket: each gets one line for an answer, an object with a result or an error.
#include <boost/json.hpp>

#include "share/control.h"
#include "tests/fuzz/input.h"
#include "tests/share/fake_index.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    share_host::fake_index index;
    const std::string answer = share_host::answer_control_line({{"docs", &index}}, text_of(data, size), {});
    require(answer.find('\n') == std::string::npos, "an answer is one line");
    const boost::json::value told = boost::json::parse(answer);
    require(told.is_object() && !told.get_object().empty(), "an answer is an object that says something");
    return 0;
}
