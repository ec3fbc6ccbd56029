// What the collect parser takes and what it refuses.
#include "server/collect_line.h"

#include <gtest/gtest.h>

namespace index_server {

namespace {

TEST(collect_line, every_kind_of_line_that_is_written_is_understood) {
    collect_line line;
    ASSERT_EQ(parse_collect_line("*??|<ADD>|<SHOW>|<VTIM>5000000000|<VTMS>5|<ADDV>1|<VGID>VG71|<BAP>OG71|<EPG>OG10|"
                                 "<OTYP>1|<FS>512|<MODE>33188|<UID>4294967295|<GID>100|<ATIME>700|<CTIME>-701|"
                                 "<MTIME>702|<DTIM>0|<EXTP>1|<EXSZ>7|<IEXT>0|<EXTN>3|<LNKT>a.txt|<XATTR>x y|"
                                 "<CPRP>custom_owner:ann:lee|<CPRP>custom_empty:|<LFN>a.txt|",
                                 line),
              "");
    EXPECT_EQ(line.op, collect_op::add);
    EXPECT_EQ(line.vtime, 5000000000);
    EXPECT_EQ(line.version_guid, "VG71");
    EXPECT_EQ(line.uid, 4294967295);
    EXPECT_EQ(line.ctime, -701);
    ASSERT_EQ(line.custom_props.size(), 2u);
    EXPECT_EQ(line.custom_props[1], std::make_pair(std::string_view("empty"), std::string_view()));
    EXPECT_EQ(line.name, "a.txt");
    ASSERT_EQ(
        parse_collect_line("*??|<UPD>|<UKEY>VG71|<BAP>OG71|<OTYP>1|<FS>128|<EXTP>1|<IEXT>1|<EXTN>3|<LFN>a.txt|", line),
        "");
    EXPECT_TRUE(line.is_extent);
    EXPECT_EQ(line.version_guid, "VG71");
    EXPECT_FALSE(line.vtime) << "a field of the line before it stayed";

    ASSERT_EQ(parse_collect_line("*??|<UPD>|<ADDV>1|<VGID>VG01|<BAP>OG01|<LFN>|", line), "") << "a path that ends in /";
    ASSERT_EQ(parse_collect_line("*??|<UPD>|<VGID>v|<BAP>o|<LFN>a|<DEL>|<BAP>other|b|", line), "");
    EXPECT_EQ(line.name, "a|<DEL>|<BAP>other|b") << "a name may hold whatever looks like a field";
    EXPECT_EQ(line.object_guid, "o");
    EXPECT_EQ(line.op, collect_op::update);
}

TEST(collect_line, what_nobody_writes_is_refused_with_its_reason) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "no line start"},
        {"*??|<ADD>|<BAP>o", "incomplete line"},
        {"*??|<ADD>|<BAP>o|<LFN|", "no tag"},
        {"*??junk|<ADD>|<BAP>o|", "no tag"},
        {"*??|<ADD>|<BAP>o|<NEWTAG>1|", "unknown tag [NEWTAG]"},
        {"*??|<ADD>|<BAP>o|<ERP>/a|", "unknown tag [ERP]"},
        {"*??|<ADD>|<BAP>o|<\x1b>1|", "unknown tag [?]"},
        {"*??|<BAP>o|", "no operation"},
        {"*??|<ADD>|<UPD>|<BAP>o|", "two operations"},
        {"*??|<ADD>|<VGID>v|", "no identity"},
        {"*??|<ADD>|<BAP>|", "no value in [BAP]"},
        {"*??|<ADD>|<BAP>o|<BAP>p|", "a tag stands twice: [BAP]"},
        {"*??|<UPD>|<UKEY>v|<VGID>w|<BAP>o|<IEXT>1|", "two versions"},
        {"*??|<UPD>|<UKEY>v|<BAP>o|", "UKEY on a line that is no extent"},
        {"*??|<ADD>x|<BAP>o|", "value in [ADD]"},
        {"*??|<ADD>|<ADDV>2|<BAP>o|", "bad value in [ADDV]"},
        {"*??|<ADD>|<BAP>o|<FS>12k|", "bad number in [FS]"},
        {"*??|<ADD>|<BAP>o|<FS>9223372036854775808|", "bad number in [FS]"},
        {"*??|<ADD>|<BAP>o|<MODE>-1|", "bad number in [MODE]"},
        {"*??|<ADD>|<BAP>o|<OTYP>9|", "bad number in [OTYP]"},
        {"*??|<ADD>|<BAP>o|<CPRP>owner:ann|", "bad custom property"},
        {"*??|<ADD>|<BAP>o|<CPRP>custom_k:1|<CPRP>custom_k:2|", "a custom property stands twice"},
    };
    collect_line line;
    for (const auto& [text, reason] : cases)
        EXPECT_EQ(parse_collect_line(text, line), reason) << text;

    const std::string longest(max_collect_key_bytes, 'k');
    EXPECT_EQ(parse_collect_line("*??|<ADD>|<BAP>" + longest + "|<CPRP>custom_" + longest + ":v|", line), "");
    EXPECT_EQ(parse_collect_line("*??|<ADD>|<BAP>o|<EPG>" + longest + "k|", line), "too long a value in [EPG]");
    EXPECT_EQ(parse_collect_line("*??|<ADD>|<BAP>o|<CPRP>custom_" + longest + "k:v|", line),
              "too long a name of a custom property");
}

}  // namespace

}  // namespace index_server
