// Renames: which directories are marked, what journal and log say, what is refused, and the flush on request.
#include "tests/support/share_test.h"

namespace {

class rename_change : public started_share {
protected:
    int rename(const std::string& object, const std::string& from_parent, const std::string& more = "",
               bool flush_now = false) {
        return share->rename_item(change_of(object, more), std::string(from_parent), "/old/" + object, flush_now);
    }
    std::string parents() { return items(reach::cur_par_cache(*share)); }
    std::string last_line() {
        const std::string text = journal();
        return text.substr(text.rfind('\n', text.size() - 2) + 1);
    }
};

}  // namespace

TEST_F(rename_change, new_record_marks_its_destination_and_a_source_that_differs) {
    EXPECT_EQ(rename("o", "p0", "path=/e/n"), 0);
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:4:v1");
    EXPECT_EQ(parents(), "p1:- p0:-");
    EXPECT_EQ(last_line(), "*??|<REN>|<ADDV>1|<VGID>v1|<BAP>o|<EPG>p1|<IEXT>0|<ERP>/5/e/n|\n");
    EXPECT_EQ(rename("q", "p1", "version="), 0);  // inside one directory, and without a version
    EXPECT_EQ(parents(), "p1:- p0:- p1:-");
    EXPECT_EQ(collected(),
              "*??|<UPD>|<ADDV>1|<VGID>v1|<BAP>o|<EPG>p1|<IEXT>0|<LFN>n|\n"
              "*??|<UPD>|<ADDV>1|<BAP>q|<EPG>p1|<IEXT>0|<LFN>q|\n");
}

TEST_F(rename_change, pending_add_takes_it_in_and_stays_an_add_that_the_journal_calls_a_rename) {
    add("o", "size=3");
    EXPECT_EQ(rename("o", "p1", "path=/d/n"), 0);
    EXPECT_EQ(parents(), "p1:-") << "the same directory as before";
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:1:v1");
    EXPECT_EQ(last_line(), "*??|<REN>|<ADDV>1|<VGID>v1|<BAP>o|<EPG>p1|<FS>3|<IEXT>0|<ERP>/5/d/n|\n");
    // To another directory: the source is marked, and the destination only because the add's own mark follows it.
    EXPECT_EQ(rename("o", "p1", "parent=p2 path=/e/n"), 0);
    EXPECT_EQ(parents(), "p2:- p1:-");
    update("u", "parent=p3");  // an update marks no parent
    EXPECT_EQ(rename("u", "p3", "parent=p4"), 0);
    EXPECT_FALSE(touched("p4"));
    EXPECT_TRUE(touched("p3"));
    EXPECT_EQ(rename("o", "p1", "version=v2 path=/e/m"), 0) << "another version is another record";
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:1:v1 u:2:v1 o:4:v2");
    EXPECT_EQ(rotate(), 0);
    EXPECT_EQ(rename("o", "p1"), 0);
    EXPECT_EQ(items(reach::cur_cache(*share)), "o:4:v1") << "a record that waits is left alone";
}

TEST_F(rename_change, source_without_a_guid_fails_at_its_insertion_and_nothing_of_it_is_read_again) {
    add("kept", "parent=p0 path=/x");
    const std::string before = journal();
    const std::string gone(200, 'g');
    EXPECT_EQ(rename("o", "", "path=/d/" + gone), 1);
    EXPECT_EQ(items(reach::cur_cache(*share)), "kept:1:v1 o:-");
    EXPECT_EQ(cached("/d/" + gone), "2");
    EXPECT_EQ(rename("kept", "", "path=/y"), 1);
    EXPECT_EQ(record_of(cached("/y")).object_guid, "kept") << "a merge is not undone";
    EXPECT_EQ(journal(), before);
    EXPECT_EQ(rename("n", gone), 0) << "a source's text need not outlive the call";
    EXPECT_TRUE(touched(gone));
}

TEST_F(rename_change, flush_now_delivers_and_never_changes_the_answer) {
    EXPECT_EQ(rename("o", "p0", "", true), 0);
    EXPECT_EQ(host().collect.batches.size(), 1u);
    EXPECT_EQ(items(reach::cur_cache(*share)) + items(reach::old_cache(*share)), "");
    break_delivery(1);
    EXPECT_EQ(rename("o", "p0", "", true), 0);
    EXPECT_TRUE(logged(-1, "INDEX_IFACE: Warning: flush failed with the error [11]."));
    EXPECT_EQ(items(reach::old_cache(*share)), "o:4:v1");
}
