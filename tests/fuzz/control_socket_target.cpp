// What another program sends to the control socket: it is taken apart at its line feeds however it arrives, each line
// gets one answer, and what reaches the index can stand in a journal. The first byte says how the rest arrives.
#include <sys/socket.h>

#include <algorithm>
#include <boost/json.hpp>

#include "hostkit/descriptor.h"
#include "share/control.h"
#include "share/control_reader.h"
#include "tests/fuzz/input.h"
#include "tests/share/fake_index.h"

namespace {

namespace json = boost::json;
using namespace share_host;

/// An index that insists on changes which an entry line can carry, and finds one object everywhere.
class strict_index : public fake_index {
public:
    int add_item(const index_iface_props& props) override { return take(props); }
    int update_item(const index_iface_props& props) override { return take(props); }
    int delete_item(const index_iface_props& props) override { return take(props); }
    int rename_item(const index_iface_props& props, const std::string& old_parent_guid, const std::string& old_path,
                    bool) override {
        require(fits_a_line(old_parent_guid) && fits_a_line(old_path) && old_path.starts_with('/'),
                "a rename says where the object was");
        return take(props);
    }
    int find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) override {
        require(fields.path != nullptr && fields.path[0] == '/', "a query has a path");
        props.path = fields.path;
        return 0;
    }
    int browse_by_path(const index_iface_browse_fields& fields, records& results) override {
        return find_by_path(fields, results.emplace_back());
    }

private:
    static bool fits_a_line(std::string_view text) {
        return std::none_of(text.begin(), text.end(), [](unsigned char byte) {
            return byte < 0x20 || byte == 0x7F || byte == '|' || byte == '<' || byte == '>';
        });
    }
    static int take(const index_iface_props& props) {
        for (const std::string& text : {props.name, props.path, props.version_guid, props.object_guid,
                                        props.parent_guid, props.link_target, props.xattr})
            require(fits_a_line(text), "a change fits a line");
        for (const auto& [key, value] : props.custom_props)
            require(fits_a_line(key) && fits_a_line(value), "a custom property fits a line");
        require(props.path.empty() || props.path.front() == '/', "a path begins at the root");
        return 0;
    }
};

void check_answer(const std::string& line) {
    strict_index index;
    const std::string text = answer_control_line({{"docs", &index}}, line, {});
    require(text.find('\n') == std::string::npos, "an answer is one line");
    const json::object answer = json::parse(text).as_object();
    require(answer.contains("ret") != answer.contains("error"), "an answer is a result or an error");
    require(!answer.contains("detail"), "no request fails in a way of its own");
}

/// The first line that is left in the text, and how it is to be taken.
control_reader::outcome next_line(std::string_view& text, std::size_t longest, std::string_view& line) {
    const std::size_t end = text.find('\n');
    line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (line.size() > longest) return control_reader::outcome::too_long;
    return end == std::string_view::npos ? control_reader::outcome::closed : control_reader::outcome::line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string sent = text_of(data + 1, size - 1);
    constexpr std::size_t longest = 400;
    int ends[2];
    // Keeps the pieces apart, as a stream may.
    require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "sockets can be had");
    hostkit::descriptor client(ends[0]);
    const hostkit::descriptor host(ends[1]);
    const std::size_t piece = std::max<std::size_t>(data[0], sent.size() / 100 + 1);
    for (std::size_t at = 0; at < sent.size(); at += piece)
        ::send(client.get(), sent.data() + at, std::min(piece, sent.size() - at), MSG_NOSIGNAL);
    client = hostkit::descriptor();

    control_reader reader(host.get(), longest);
    std::string_view left = sent;
    std::string line;
    for (auto outcome = control_reader::outcome::line; outcome != control_reader::outcome::closed;) {
        std::string_view expected;
        outcome = reader.next(line);
        require(outcome == next_line(left, longest, expected), "a line is taken for what it is");
        if (outcome != control_reader::outcome::line) continue;
        require(line == expected, "a line is what stands between two line feeds");
        check_answer(line);
    }
    return 0;
}
