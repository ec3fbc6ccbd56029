// Reading of the JSON API's requests.
#include "server/json_request.h"

#include <algorithm>
#include <charconv>

#include <boost/json.hpp>

#include "server/hex_text.h"
#include "server/query_text.h"

namespace index_server {

namespace {

namespace json = boost::json;

constexpr std::int64_t usual_limit = 100;
constexpr std::int64_t most_limit = 1000;
constexpr std::size_t longest_place = 16384;
constexpr const char* not_a_place = "\"after\" is not what an earlier answer gave";

int digit_of(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

std::string read_place(const std::string& text) {
    std::string place;
    const bool is_whole = text.size() % 2 == 0 && text.size() <= longest_place;
    for (std::size_t at = 0; is_whole && at < text.size(); at += 2) {
        const int high = digit_of(text[at]), low = digit_of(text[at + 1]);
        if (high < 0 || low < 0) break;
        place += static_cast<char>(high * 16 + low);
    }
    if (place.size() * 2 != text.size()) throw bad_request(not_a_place);
    return place;
}

[[noreturn]] void refuse(const char* member, const std::string& what) {
    throw bad_request("\"" + std::string(member) + "\" " + what);
}

}  // namespace

json_request::json_request(const std::string& body, std::initializer_list<const char*> known) {
    if (body.empty()) return;
    json::error_code malformed;
    const json::value request = json::parse(body, malformed);
    if (malformed || !request.is_object()) throw bad_request("the body is not a JSON object");
    members_ = request.get_object();
    for (const auto& member : members_) {
        if (std::find(known.begin(), known.end(), member.key()) == known.end())
            throw bad_request("the body has a member that is not known here");
    }
}

const json::value* json_request::find(const char* member) const {
    return members_.if_contains(member);
}

std::optional<std::string> json_request::text(const char* member) const {
    const json::value* value = find(member);
    if (value == nullptr) return std::nullopt;
    if (!value->is_string()) refuse(member, "is no text");
    return std::string(value->get_string());
}

std::optional<std::int64_t> json_request::number(const char* member, std::int64_t least, std::int64_t most) const {
    const json::value* value = find(member);
    if (value == nullptr) return std::nullopt;
    if (!value->is_int64() || value->get_int64() < least || value->get_int64() > most)
        refuse(member, "is no number from " + std::to_string(least) + " to " + std::to_string(most));
    return value->get_int64();
}

bool json_request::flag(const char* member) const {
    const json::value* value = find(member);
    if (value != nullptr && !value->is_bool()) refuse(member, "is neither true nor false");
    return value != nullptr && value->get_bool();
}

std::string json_request::place(const char* member) const {
    return read_place(text(member).value_or(std::string()));
}

std::int64_t json_request::required_number(const char* member, std::int64_t least, std::int64_t most) const {
    const std::optional<std::int64_t> value = number(member, least, most);
    if (!value) refuse(member, "is missing");
    return *value;
}

std::string json_request::required_text(const char* member) const {
    std::optional<std::string> value = text(member);
    if (!value) refuse(member, "is missing");
    return *std::move(value);
}

wanted_page read_page(const std::string& query) {
    const query_text words(query);
    wanted_page page;
    page.limit = usual_limit;
    if (words.has("limit")) {
        const std::optional<std::int64_t> limit = words.number("limit", 1, most_limit);
        if (!limit) throw bad_request("\"limit\" is no number from 1 to " + std::to_string(most_limit));
        page.limit = static_cast<std::size_t>(*limit);
    }
    if (words.has("after") && !words.word("after")) throw bad_request("\"after\" is there more than once");
    page.after = read_place(words.word("after").value_or(std::string()));
    return page;
}

std::int64_t place_number(const std::string& place, std::int64_t first) {
    if (place.empty()) return first;
    const char* const last = place.data() + place.size();
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(place.data(), last, number);
    if (error != std::errc() || end != last) throw bad_request(not_a_place);
    return number;
}

std::string place_text(const std::string& place) {
    return to_hex(reinterpret_cast<const unsigned char*>(place.data()), place.size());
}

}  // namespace index_server
