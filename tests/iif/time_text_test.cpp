// Moments on the command line.
#include "iif/time_text.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t now_s = 1714557600;  // 2024-05-01T10:00:00Z

TEST(time_text, every_way_to_name_a_moment_is_read) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"1714557600", now_s},
        {"2024-05-01T10:00:00Z", now_s},
        {"2024-05-01t10:00:00.999999999z", now_s},
        {"2024-05-01 12:30:00+02:30", now_s},
        {"2024-02-29T00:00:00Z", 1709164800},
        {"2016-12-31T23:59:60Z", 1483228800},
        {"2 hours ago", now_s - 7200},
        {"3 days ago", now_s - 259200},
        {"2w ago", now_s - 1209600},
    };
    for (const auto& [text, seconds] : cases)
        EXPECT_EQ(iif::parse_time(text, now_s), seconds) << text;
}

TEST(time_text, what_names_no_moment_is_refused) {
    const char* const texts[] = {"",
                                 "2024-05-01",
                                 "2023-02-29T00:00:00Z",
                                 "2024-05-01T10:00:00Zx",
                                 "1969-12-31T23:59:59Z",
                                 "2 fortnights ago",
                                 "9999999999999 weeks ago",
                                 "12ms ago"};
    for (const char* text : texts)
        EXPECT_EQ(iif::parse_time(text, now_s), std::nullopt) << text;
}

}  // namespace
