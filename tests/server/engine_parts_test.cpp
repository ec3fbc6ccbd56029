// What the way in which rows are loaded must not change: files that are worked off in parts, objects with a long past.
#include "server/collect_applier.h"
#include "server/object_rules.h"

#include "tests/server/engine_fixture.h"

namespace index_server {

namespace {

class engine_parts : public engine_fixture {
protected:
    apply_outcome apply_in_parts(const std::string& bytes, std::uint64_t part_bytes) {
        scratch.put("parts.zyf", bytes);
        collect_file file(scratch / "parts.zyf", part_bytes);
        apply_outcome outcome = outcome_of(file);
        if (!outcome.error.empty()) return outcome;
        const auto connection = storage.connect(sql_access::write);
        const auto rows = make_row_store(*connection);
        sql_transaction transaction(*connection, sql_access::write);
        apply_collect_file(*rows, docs, file, 1800000000LL * 1000000000);
        transaction.commit();
        outcome.applied = true;
        return outcome;
    }
    std::string line(const std::string& op, int object, const std::string& version, long long second,
                     const std::string& more = {}) const {
        return "<" + op + ">|<VGID>" + version + "|<BAP>o" + std::to_string(object) + "|<CTIME>" +
               std::to_string(second) + more;
    }
    std::string place(int name) const { return "|<EPG>" + docs.root_guid + "|<LFN>n" + std::to_string(name); }
    static std::string bytes_of(const std::vector<std::string>& lines) {
        std::string bytes;
        for (const std::string& one : lines)
            bytes += "*??|" + one + "|\n";
        return bytes;
    }
};

TEST_F(engine_parts, a_file_in_parts_does_what_it_does_whole) {
    std::vector<std::string> lines;
    for (int i = 0; i < 40; ++i) {
        lines.push_back(line("UPD", i, "v2", 20, "|<FS>2"));
        lines.push_back("<UPD>|<UKEY>x" + std::to_string(i % 3) + "|<BAP>e|<EPG>o" + std::to_string(i) +
                        "|<IEXT>1|<EXTN>" + std::to_string(i % 2));
    }
    for (int i = 0; i < 40; ++i)
        lines.push_back(line("ADD", i, "v1", 10, "|<MODE>33188" + place(i)));
    const std::string bytes = bytes_of(lines);
    const apply_outcome outcome = apply_in_parts(bytes, 1000);
    EXPECT_TRUE(outcome.applied);
    EXPECT_EQ(outcome.lines, lines.size());
    const std::string in_parts = rows();
    EXPECT_EQ(find("/n7"), "v2");
    EXPECT_EQ(ask(ask_for::path, "/n7")[0].mode, 33188);
    ASSERT_TRUE(apply_in_parts(bytes, 1 << 20).applied);
    EXPECT_EQ(rows(), in_parts);

    lines[70] = "<ADD>|<BAP>o|<NEW>";
    lines[75] = "<ADD>";
    const apply_outcome refused = apply_in_parts(bytes_of(lines), 1000);
    EXPECT_FALSE(refused.applied);
    EXPECT_EQ(refused.error, "line 71: unknown tag [NEW]");
}

TEST_F(engine_parts, keys_of_the_greatest_length_are_taken) {
    const std::string longest(max_collect_key_bytes, 'k');
    const std::string of = "|<VGID>" + longest + "|<BAP>" + longest + "|<CPRP>custom_" + longest + ":v";
    ASSERT_TRUE(apply({"<ADD>" + of + place(1), "<ADD>" + of + "|<IEXT>1|<EXTN>0"}).applied);
    EXPECT_EQ(find("/n1"), longest);
}

TEST_F(engine_parts, an_object_with_a_long_past_is_changed_where_a_line_says) {
    const auto version = [](int i) { return "v" + std::to_string(i); };
    for (int i = 1; i <= 100; ++i)
        apply({line("ADD", 1, version(i), i * 10, "|<VTIM>" + std::to_string(i * 10'000'000'000) + place(i % 2))});
    // Of a version that is not among the newest: known by its name.
    apply({"<UPD>|<VGID>v5|<BAP>o1|<FS>7"});
    EXPECT_EQ(ask(ask_for::path, "/n1", {.at = 55})[0].size, 7);
    EXPECT_EQ(find("/n0"), "v100");
    // A new version between old ones takes over from the one before it.
    apply({line("UPD", 1, "between", 55, "|<FS>8")});
    EXPECT_EQ(find("/n1", {.at = 55}), "between");
    EXPECT_EQ(find("/n0", {.at = 60}), "v6");
    // A deletion in the past ends what was newest then, and what came later goes on.
    apply({"<DEL>|<BAP>o1|<DTIM>203"});
    EXPECT_EQ(find("/n0", {.at = 202}), "v20");
    EXPECT_EQ(find("/n0", {.at = 204}), "");
    EXPECT_EQ(find("/n1", {.at = 210}), "v21");
}

TEST(property_budget, bounds_what_the_versions_of_a_file_take_over) {
    for (const std::size_t most : {5, 6}) {
        object_history object;
        for (const char* guid : {"v1", "v2", "v3"}) {
            version_row row;
            row.version_guid = guid;
            row.vtime = row.arrival = guid[1];
            object.versions.add(row);
        }
        object.versions.find("v1")->properties = {{"a", "1"}, {"b", "2"}, {"c", "3"}};
        property_budget budget(most);
        if (most == 5) {
            EXPECT_THROW(settle(object, budget), too_many_properties);
        } else {
            settle(object, budget);
            EXPECT_EQ(object.versions.find("v3")->properties.size(), 3u);
        }
    }
}

}  // namespace

}  // namespace index_server
