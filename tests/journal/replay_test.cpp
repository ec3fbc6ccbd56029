// What a start makes of the journal files it finds.
#include "tests/support/share_test.h"

namespace {

class replay : public share_test {
protected:
    // A file name "#1" stands for "collect_file_1". A share that looks at `journal/` beside its own directory; nothing
    // is delivered behind the test's back.
    int read(const std::map<std::string, std::string>& files) {
        if (!share) init();
        const std::filesystem::path place = root / "journal";
        std::filesystem::remove_all(place);
        std::filesystem::create_directory(place);
        for (const auto& [name, text] : files)
            write_file(place / (name[0] == '#' ? "collect_file_" + name.substr(1) : name), text);
        for (auto* cache : {reach::cur_cache(*share), reach::old_cache(*share)})
            reach::delete_cached_items(*share, cache);
        reach::cur_journal_file(*share) = reach::old_journal_file(*share) = "";
        reach::journal_file_num(*share) = 0;
        clear_log();
        return reach::process_old_journal_files(*share, place.string());
    }
    std::string state() {
        const auto leaf = [](const std::string& name) {
            return name.empty() ? "" : "#" + name.substr(name.rfind('_') + 1);
        };
        return leaf(reach::cur_journal_file(*share)) + "{" + items(reach::cur_cache(*share)) + "} " +
               leaf(reach::old_journal_file(*share)) + "{" + items(reach::old_cache(*share)) + "} " +
               std::to_string(reach::journal_file_num(*share));
    }
};

const std::string add_o = "*??|<ADD>|<VTIM>7|<VGID>v|<BAP>o|<EPG>p|<ERP>/5/d/o|\n";
const std::string upd_o = "*??|<UPD>|<VGID>v|<BAP>o|<FS>3|\n";
const std::string ren_o = "*??|<REN>|<VGID>v|<BAP>o|<EPG>q|\n";
const std::string del_o = "*??|<DEL>|<VGID>v|<BAP>o|<EPG>p|\n";

}  // namespace

TEST_F(replay, names_roles_and_refusals_follow_the_files_found) {
    struct row {
        std::map<std::string, std::string> files;
        int ret;
        const char *state, *message;
    };
    const row rows[] = {
        {{{"lumo_index_42_77_0.zyf", "x"}, {"collect_fil", "x"}}, 0, "{} {} 0", ""},
        {{{"#0000000042", "\n\n" + add_o}}, 0, "#0000000042{o:1:v} {} 42", ""},
        {{{"#0000000003", ""}, {"#0000000004", "\n"}}, 0, "#0000000004{} #0000000003{} 4", ""},
        {{{"#0000000010", add_o}, {"#9", del_o}},
         0,
         "#9{o:3:v} #0000000010{o:1:v} 9",
         ""},  // byte order of names, not of numbers
        {{{"#1", "x"}, {"#2", add_o}, {"#3", add_o}},
         22,
         "{} {} 0",
         "INDEX_IFACE: Error: number of journal files, [3] > 2."},
        {{{"#1", add_o + "|"}, {"#2", del_o}}, 22, "#2{o:3:v} #1{} 0", "has an incomplete last line."},
        {{{"#1", add_o + "*??|<ADD>|<VGID>v|\n" + del_o}}, 1, "#1{o:1:v} {} 0", "key["},
    };
    for (const row& r : rows) {
        EXPECT_EQ(read(r.files), r.ret);
        EXPECT_EQ(state(), r.state);
        EXPECT_EQ(logged(-1, r.message), r.ret != 0);
    }
    EXPECT_EQ(reach::process_old_journal_files(*share, "/not/there"), ENOENT);
    EXPECT_TRUE(logged(-1, "Error: can't open directory /not/there Err [2 : No such file or directory]"));
}

TEST_F(replay, lines_of_one_version_merge_as_a_restart_must_and_not_as_they_came) {
    struct row {
        std::string lines;
        const char *items, *record;
    };
    const row rows[] = {
        {add_o + upd_o, "o:1:v", "op=ADD path=/d/o version=v object=o parent=p size=3 vtime=7"},
        {add_o + ren_o + upd_o, "o:4:v", "op=REN path=/d/o version=v object=o parent=q size=3 vtime=7"},
        {add_o + add_o + del_o + upd_o, "o:1:v o:1:v o:3:v", "op=DEL version=v object=o parent=p size=3"},
        {add_o + "*??|<UPD>|<VGID>w|<BAP>o|\n", "o:1:v o:2:w", "op=UPD version=w object=o"},
    };
    for (const row& r : rows) {
        ASSERT_EQ(read({{"#1", r.lines}}), 0);
        EXPECT_EQ(items(reach::cur_cache(*share)), r.items);
        EXPECT_EQ(text_of(*reach::cur_cache(*share)->last->props), r.record);
        EXPECT_EQ(items(reach::cur_par_cache(*share)), "");
    }
    EXPECT_EQ(reach::find_child_in_cache_by_path(*share, "/d"), 0);
}

TEST_F(replay, start_delivers_both_batches_in_order_and_goes_on_with_the_next_number) {
    write_file(root / "state/docs/collect_file_0000000007", add_o);
    write_file(root / "state/docs/collect_file_0000000008", upd_o);
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(host().collect.batches,
              (std::vector<std::string>{"*??|<ADD>|<SHOW>|<VTIM>7|<ADDV>1|<VGID>v|<BAP>o|<EPG>p|<LFN>o|\n",
                                        "*??|<UPD>|<ADDV>1|<VGID>v|<BAP>o|<FS>3|\n"}));
    EXPECT_EQ(host().opens,
              (std::vector<std::string>{"collect_file_0000000008 128 0", "collect_file_0000000007 128 0",
                                        "collect_file_0000000008 1153 420", "lumo_index_42_77_0.zyf 1601 420",
                                        "collect_file_0000000009 1729 420", "lumo_index_42_77_0.zyf 1601 420"}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir()), {}), 1);
    add("x");
    EXPECT_EQ(restart(), 0);  // with one file: its batch rotates before it goes
    EXPECT_EQ(host().collect.batches.size(), 3u);
    EXPECT_TRUE(reach::cur_journal_file(*share).ends_with("collect_file_0000000010"));
}
