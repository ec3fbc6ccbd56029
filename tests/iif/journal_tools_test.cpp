// The operators' tool on journal files, whole and damaged.
#include <gtest/gtest.h>

#include "iif/exit_code.h"
#include "iif/journal_files.h"
#include "iif/journal_line.h"
#include "tests/support/scratch_directory.h"

namespace {

namespace fs = std::filesystem;
using namespace iif;

const std::string whole_line =
    "*??|<ADD>|<SHOW>|<VTIM>5000000000|<VTMS>5|<ADDV>1|<VGID>VG71|<BAP>OG71|<EPG>OG10|<OTYP>1|<FS>512|<MODE>33188|"
    "<CPRP>custom_owner:ann|<ERP>/5/docs/a.txt|";

class journal_tools : public testing::Test {
protected:
    fs::path write(const std::string& name, const std::string& content) {
        fs::create_directories((directory / name).parent_path());
        scratch.put(name, content);
        return directory / name;
    }

    const scratch_directory scratch;
    const fs::path directory = scratch.path();
};

TEST_F(journal_tools, finds_live_journals_and_passes_over_copies) {
    write("journal/docs/collect_file_0000000002", "");
    write("journal/docs/collect_file_0000000001", "");
    write("journal/docs/before-repair-1.collect_file_0000000001", "");
    write("journal/docs/lumo_index_1_2_0.zyf", "");
    write("journal.bkp/docs/journal/collect_file_0000000009", "");
    fs::create_symlink(directory / "journal", directory / "again");
    const auto found = find_journals(directory);
    ASSERT_EQ(found.size(), 1u);
    ASSERT_EQ(found[0].files.size(), 2u);
    EXPECT_EQ(found[0].files[0].filename(), "collect_file_0000000001");
    EXPECT_EQ(find_journals(found[0].path)[0].files, found[0].files);
    EXPECT_THROW(find_journals(directory / "journal.bkp" / "nothing"), program_error);
    EXPECT_THROW(find_journals(write("plain/file", "")), program_error);
}

TEST_F(journal_tools, a_line_is_taken_apart_and_judged) {
    const journal_line line = parse_journal_line(whole_line);
    EXPECT_EQ(line.fault, "");
    EXPECT_EQ(line.operation(), "ADD");
    EXPECT_EQ(line.value("ERP"), "/5/docs/a.txt");
    EXPECT_EQ(line.value("CPRP"), "custom_owner:ann");
    EXPECT_EQ(line.value("LNKT"), "");
    const std::string cases[] = {"",
                                 "*??",
                                 "*??|<UPD>|<BAP>O",
                                 "*??|<UPD>|<BAP>O|\r",
                                 "*??|<BAP>O|",
                                 "*??|<UPD>|<BAP>|<EPG>P|",
                                 "*??|<UPD>|<BAP>O|<FS>12a|",
                                 "*??|<UPD>1|<BAP>O|",
                                 "*??|<UPD>|<BAP>O|garbage|<FS>1|",
                                 std::string("*??|<UPD>|<BAP>O\0O|", 19)};
    for (const std::string& text : cases)
        EXPECT_NE(parse_journal_line(text).fault, "") << text;
}

TEST_F(journal_tools, repair_keeps_a_copy_and_cuts_the_incomplete_line_alone) {
    const std::string kept = whole_line + "\n" + std::string(100000, 'y') + "\n";
    const std::string damaged = kept + whole_line.substr(0, 30);
    const fs::path file = write("collect_file_0000000007", damaged);
    const journal_repair first = repair_journal(file);
    EXPECT_EQ(first.cut_bytes, 30u);
    EXPECT_EQ(scratch.text_of("collect_file_0000000007"), kept);
    EXPECT_EQ(scratch.text_of(first.copy.filename()), damaged);
    EXPECT_FALSE(first.copy.filename().string().starts_with("collect_file_"));

    EXPECT_EQ(repair_journal(file).cut_bytes, 0u);
    EXPECT_EQ(scratch.text_of("collect_file_0000000007"), kept);

    std::ofstream(file, std::ios::app) << "*??";
    EXPECT_NE(repair_journal(file).copy, first.copy);
    EXPECT_EQ(scratch.text_of(first.copy.filename()), damaged);
    EXPECT_EQ(repair_journal(write("collect_file_1", std::string(150000, 'z'))).cut_bytes, 150000u);
    EXPECT_EQ(scratch.text_of("collect_file_1"), "");
}

}  // namespace
