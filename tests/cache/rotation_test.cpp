// The rotation: every state it can meet, and what a failed one leaves.
#include "tests/support/share_test.h"

using rotation = started_share;

TEST_F(rotation, answers_by_the_journals_that_stand) {
    reach::at_startup(*share) = true;
    EXPECT_EQ(rotate(), 11);
    EXPECT_FALSE(reach::at_startup(*share));
    add("a");
    const std::string first = reach::cur_journal_file(*share);
    EXPECT_EQ(rotate(), 0);
    EXPECT_EQ(reach::old_journal_file(*share), first);
    EXPECT_TRUE(reach::cur_journal_file(*share).ends_with("/collect_file_0000000002"));
    EXPECT_EQ(items(reach::old_cache(*share)), "a:1:v1");
    EXPECT_EQ(items(reach::old_par_cache(*share)), "p1:-");

    add("b");
    EXPECT_EQ(rotate(), 16);
    EXPECT_EQ(items(reach::cur_cache(*share)), "b:1:v1");
    reach::at_startup(*share) = true;
    EXPECT_EQ(rotate(), 0);  // the batch of an earlier run stands already
    EXPECT_EQ(items(reach::cur_cache(*share)), "b:1:v1");
    EXPECT_FALSE(reach::at_startup(*share));
}

TEST_F(rotation, failed_creation_is_taken_back_and_counted_as_a_try) {
    add("a");
    const std::string first = reach::cur_journal_file(*share);
    scripted::fail_call(1, {true, false});
    for (int tries = 1; tries <= 5; ++tries)
        EXPECT_EQ(rotate(), scripted::refused_errno);
    scripted::fail_call(0);
    EXPECT_EQ(reach::flush_tries(*share), 5);
    EXPECT_EQ(reach::cur_journal_file(*share), first);
    EXPECT_EQ(reach::old_journal_file(*share), "");
    EXPECT_EQ(add("b"), 0);
    EXPECT_EQ(items(reach::cur_cache(*share)), "a:1:v1 b:1:v1");
    write_file(dir() / "collect_file_0000000002", "");  // the number is not skipped
    EXPECT_EQ(rotate(), EEXIST);
    EXPECT_TRUE(reach::reject_changes(*share));
    std::filesystem::remove(dir() / "collect_file_0000000002");
    EXPECT_EQ(rotate(), 0);
    EXPECT_EQ(deliver(), 0);
    EXPECT_EQ(add("c"), 0);
}
