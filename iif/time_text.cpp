// Moments as people write them on a command line, and as the program prints them.
#include "iif/time_text.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace iif {
namespace {

constexpr std::int64_t latest_s = 253402300799;  // the end of year 9999, the last moment RFC 3339 can write

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

// Takes exactly `digits` digits off the front of `text`.
std::optional<int> take_number(std::string_view& text, std::size_t digits) {
    if (text.size() < digits) return std::nullopt;
    int value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        value = value * 10 + (text[i] - '0');
    }
    text.remove_prefix(digits);
    return value;
}

bool take_char(std::string_view& text, std::string_view one_of) {
    if (text.empty() || one_of.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

// "Z" or "+hh:mm"; seconds to subtract to come to UTC.
std::optional<std::int64_t> take_offset(std::string_view& text) {
    if (take_char(text, "Zz")) return 0;
    const bool west = !text.empty() && text.front() == '-';
    if (!take_char(text, "+-")) return std::nullopt;
    const auto hours = take_number(text, 2);
    if (!hours || *hours > 23 || !take_char(text, ":")) return std::nullopt;
    const auto minutes = take_number(text, 2);
    if (!minutes || *minutes > 59) return std::nullopt;
    const std::int64_t offset = *hours * 3600 + *minutes * 60;
    return west ? -offset : offset;
}

std::optional<std::int64_t> take_date(std::string_view& text) {
    const auto year = take_number(text, 4);
    if (!year || !take_char(text, "-")) return std::nullopt;
    const auto month = take_number(text, 2);
    if (!month || !take_char(text, "-")) return std::nullopt;
    const auto day = take_number(text, 2);
    if (!day) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok()) return std::nullopt;
    return std::chrono::sys_days(date).time_since_epoch().count() * std::int64_t{86400};
}

std::optional<std::int64_t> take_clock(std::string_view& text) {
    const auto hour = take_number(text, 2);
    if (!hour || *hour > 23 || !take_char(text, ":")) return std::nullopt;
    const auto minute = take_number(text, 2);
    if (!minute || *minute > 59 || !take_char(text, ":")) return std::nullopt;
    const auto second = take_number(text, 2);
    if (!second || *second > 60) return std::nullopt;
    if (take_char(text, ".")) {
        if (!take_number(text, 1)) return std::nullopt;
        while (take_number(text, 1)) {
        }
    }
    return *hour * 3600 + *minute * 60 + *second;
}

std::optional<std::int64_t> parse_rfc3339(std::string_view text) {
    const auto date = take_date(text);
    if (!date || !take_char(text, "Tt ")) return std::nullopt;
    const auto clock = take_clock(text);
    if (!clock) return std::nullopt;
    const auto offset = take_offset(text);
    if (!offset || !text.empty()) return std::nullopt;
    return *date + *clock - *offset;
}

std::optional<std::int64_t> parse_whole_number(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
    return value;
}

std::optional<std::int64_t> unit_seconds(std::string_view unit) {
    if (unit.size() > 2 && unit.back() == 's') unit.remove_suffix(1);
    struct named_span {
        std::string_view name, short_name, letter;
        std::int64_t seconds;
    };
    static constexpr std::array<named_span, 5> spans{{{"second", "sec", "s", 1},
                                                      {"minute", "min", "m", 60},
                                                      {"hour", "hr", "h", 3600},
                                                      {"day", "day", "d", 86400},
                                                      {"week", "week", "w", 604800}}};
    for (const named_span& span : spans)
        if (unit == span.name || unit == span.short_name || unit == span.letter) return span.seconds;
    return std::nullopt;
}

// "2 hours ago", "90s ago".
std::optional<std::int64_t> parse_span(std::string_view text, std::int64_t now_s) {
    constexpr std::string_view ago = " ago";
    if (!text.ends_with(ago)) return std::nullopt;
    text = trimmed(text.substr(0, text.size() - ago.size()));
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const auto count = parse_whole_number(text.substr(0, digits));
    const auto unit = unit_seconds(trimmed(text.substr(digits)));
    if (!count || !unit || *count > now_s / *unit) return std::nullopt;
    return now_s - *count * *unit;
}

}  // namespace

std::optional<std::int64_t> parse_time(std::string_view text, std::int64_t now_s) {
    text = trimmed(text);
    std::optional<std::int64_t> seconds = parse_whole_number(text);
    if (!seconds) seconds = parse_span(text, now_s);
    if (!seconds) seconds = parse_rfc3339(text);
    // A bound of 0 would mean no bound to a query.
    if (!seconds || *seconds <= 0 || *seconds > latest_s) return std::nullopt;
    return seconds;
}

std::string format_time(std::int64_t seconds) {
    using namespace std::chrono;
    const sys_seconds moment{std::chrono::seconds(seconds)};
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss clock(moment - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

}  // namespace iif
