// Listings read page by page while others read them too, and while the index changes.
#include <algorithm>
#include <map>

#include "server/walk_memory.h"
#include "tests/server/engine_fixture.h"

namespace index_server {

namespace {

/// One reader of a listing, page by page as the library asks.
struct browser {
    ask_for what = ask_for::path_children;
    std::string value = "/d";
    asked how{};
    bool at_end = false;
    std::map<std::string, int> seen{};  ///< how often each object came
    std::vector<std::string> order{};
};

class paging : public engine_fixture {
protected:
    static std::string added(const std::string& object, const std::string& version, long long second,
                             const std::string& name, const std::string& parent = "d") {
        return "<ADD>|<VTIM>" + std::to_string(second * 1000000000) + "|<VGID>" + version + "|<BAP>" + object +
               "|<EPG>" + parent + "|<LFN>" + name;
    }
    static std::string extent(int number, long long second) {
        return "<ADD>|<VTIM>" + std::to_string(second * 1000000000) + "|<VGID>x" + std::to_string(second) + "|<BAP>e" +
               std::to_string(number) + "|<EPG>f|<OTYP>1|<FS>1|<IEXT>1|<EXTN>" + std::to_string(number);
    }

    /// The directory /d with objects o0, o1, ... whose version times rise, three to a second.
    void fill(int count) {
        std::vector<std::string> lines{added("d", "d1", 5, "d", docs.root_guid)};
        for (int i = 0; i < count; ++i)
            lines.push_back(added(name(i), "v1", 100 + i / 3, name(i)));
        ASSERT_TRUE(apply(docs, lines).applied);
    }
    static std::string name(int number) { return "o" + std::to_string(number); }

    void read_page(browser& reader) {
        const auto page = ask(reader.what, reader.value, reader.how);
        for (const found_item& item : page) {
            ++reader.seen[item.object];
            reader.order.push_back(item.object);
        }
        reader.at_end = static_cast<long long>(page.size()) < reader.how.page_size;
        reader.how.page_start += reader.how.page_size;
    }
    void read_all(browser& reader) {
        while (!reader.at_end)
            read_page(reader);
    }
    static void expect_once(const browser& reader, int from, int to) {
        for (int i = from; i < to; ++i)
            EXPECT_EQ(reader.seen.count(name(i)) != 0 ? reader.seen.at(name(i)) : 0, 1) << name(i);
    }
};

TEST_F(paging, what_comes_moves_and_goes_in_between_doubles_nothing_and_hides_nothing_that_stays) {
    fill(40);
    for (const long long moment : {0LL, 1000LL}) {
        browser reader{.how = {.at = moment, .page_size = 10}};
        read_page(reader);
        read_page(reader);
        const std::string tag = std::to_string(moment);
        apply({added("early" + tag, "v1", 50, "early" + tag), added("late" + tag, "v1", 500, "late" + tag)});
        // One behind the reader and one before it are changed; one behind it is gone, another has moved away.
        apply({added("o1", "w" + tag, 600, "o1"), added("o35", "w" + tag, 600, "o35")});
        apply({"<DEL>|<BAP>o2|<VGID>v1|<DTIM>700", added("o3", "w" + tag, 600, "o3", docs.root_guid)});
        read_all(reader);
        reader.seen.erase("o2");
        expect_once(reader, 4, 40);
        EXPECT_EQ(reader.seen["o1"], 1) << "it was met in its former version";
        EXPECT_EQ(reader.seen["early" + tag], 0) << "it came behind the reader";
        for (const auto& [object, times] : reader.seen)
            EXPECT_LE(times, 1) << object;
        apply({added("o2", "v1", 100, "o2"), added("o3", "x" + tag, 601, "o3")});
    }
}

TEST_F(paging, offset_is_counted_from_the_front_when_the_place_is_forgotten) {
    fill(25);
    for (const long long moment : {0LL, 1000LL}) {
        browser reader{.how = {.at = moment, .page_size = 10}};
        for (; !reader.at_end; reopen())
            read_page(reader);
        ASSERT_EQ(reader.order.size(), 25u);
        expect_once(reader, 0, 25);
        EXPECT_EQ(reader.order.front() + reader.order.back(), "o0o24");
        EXPECT_TRUE(ask(ask_for::path_children, "/d", {.at = moment, .page_size = 10, .page_start = 30}).empty());
    }
}

TEST_F(paging, page_that_is_asked_for_again_is_the_same_page) {
    fill(40);
    for (const long long moment : {0LL, 1000LL}) {
        browser reader{.how = {.at = moment, .page_size = 10}};
        read_page(reader);
        read_page(reader);
        apply({"<DEL>|<BAP>o0|<VGID>v1|<DTIM>700"});
        browser again = reader;
        read_page(reader);
        // What went out with the answer that was lost counts as not met.
        apply({added("o25", "w" + std::to_string(moment), 800, "o25")});
        read_page(again);
        EXPECT_TRUE(moment == 0 || again.order == reader.order);
        read_all(again);
        again.seen.erase("o0");
        expect_once(again, 1, 40);
        apply({added("o0", "v1", 100, "o0")});
    }
}

TEST_F(paging, interleaved_readers_do_not_disturb_each_other) {
    fill(300);
    apply(docs, [] {
        std::vector<std::string> lines;
        for (int i = 0; i < 300; ++i)
            lines.push_back(extent(i, 10));
        return lines;
    }());
    std::vector<browser> readers;
    for (const long long moment : {0LL, 1000LL, 150LL}) {
        readers.push_back({.how = {.at = moment, .page_size = 7}});
        readers.push_back({.what = ask_for::guid_children, .value = "d", .how = {.at = moment, .page_size = 11}});
        readers.push_back({.what = ask_for::extents, .value = "f", .how = {.at = moment, .page_size = 7}});
    }
    readers.push_back({.what = ask_for::extents_to_back_up, .how = {.page_size = 7}});
    readers.push_back({.how = {.after = 1, .page_size = 7}});
    readers.push_back({.value = "/D", .how = {.fold_case = true, .page_size = 7}});
    const std::vector<browser> twins = readers;
    readers.insert(readers.end(), twins.begin(), twins.end());
    for (int round = 0; std::any_of(readers.begin(), readers.end(), [](const browser& b) { return !b.at_end; });
         ++round) {
        for (std::size_t i = 0; i < readers.size(); ++i) {
            // Not in step, and with others coming and going at the end.
            if (!readers[i].at_end && (round + static_cast<int>(i)) % 3 != 0) read_page(readers[i]);
        }
        apply({added("n" + std::to_string(round), "v1", 2000 + round, "n" + std::to_string(round))});
    }
    for (browser& reader : readers) {
        const bool extents = reader.what == ask_for::extents || reader.what == ask_for::extents_to_back_up;
        int met = 0;
        for (const auto& [object, times] : reader.seen) {
            EXPECT_EQ(times, 1) << object;
            met += object[0] == (extents ? 'e' : 'o');
        }
        EXPECT_EQ(met, reader.how.at == 150 && !extents ? 153 : 300);
    }
}

TEST(walk_memory_test, is_bounded_and_expires) {
    const auto listing_of = [](std::size_t entries) {
        auto made = std::make_shared<kept_listing>();
        made->entries.resize(entries);
        return made;
    };
    const std::size_t entry = sizeof(kept_listing::entry);
    walk_memory memory({.walks = 2, .bytes = 10 * entry, .idle = std::chrono::hours(1)});
    memory.keep("a", {.place = {0, 0, 1}}, 10, 0, {});
    memory.keep("b", {.place = {0, 0, 2}}, 10, 0, {});
    memory.keep("c", {.place = {0, 0, 3}}, 10, 0, {});
    EXPECT_FALSE(memory.resume("a", 10)) << "the oldest goes";
    EXPECT_EQ(memory.resume("b", 10)->place.row, 2);
    EXPECT_FALSE(memory.resume("b", 10)) << "it is taken out";
    memory.keep("large", {.listing = listing_of(11)}, 10, 0, {});
    EXPECT_FALSE(memory.resume("large", 10));
    memory.keep("x", {.listing = listing_of(6)}, 10, 0, {});
    memory.keep("y", {.listing = listing_of(5)}, 10, 0, {});
    EXPECT_FALSE(memory.resume("x", 10));
    const std::string long_name(4 * entry, 'n');
    memory.keep(long_name, {}, 10, 0, {});
    EXPECT_FALSE(memory.resume("y", 10)) << "a name takes room, too";
    EXPECT_TRUE(memory.resume(long_name, 10));

    walk_memory hasty({.idle = std::chrono::milliseconds(-1)});
    hasty.keep("a", {}, 10, 0, {});
    EXPECT_FALSE(hasty.resume("a", 10));
}

}  // namespace

}  // namespace index_server
