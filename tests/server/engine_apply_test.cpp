// The application of collect files: versions, deletions, what lines leave out, and that nothing is applied twice.
#include <filesystem>

#include "server/sqlite_driver.h"
#include "tests/server/engine_fixture.h"

namespace index_server {

namespace {

class engine_apply : public engine_fixture {
protected:
    /// A line of an object below the root, unless a parent is given.
    std::string line(const std::string& op, const std::string& object, const std::string& version,
                     const std::string& more = {}, const std::string& name = {}) const {
        return "<" + op + ">|<VGID>" + version + "|<BAP>" + object + more +
               (name.empty() ? "" : "|<EPG>" + docs.root_guid + "|<LFN>" + name);
    }
};

TEST_F(engine_apply, a_share_has_its_root_from_its_registration_on) {
    const share again = store->register_share("docs");
    EXPECT_EQ(again.subclient_id, docs.subclient_id);
    EXPECT_EQ(std::to_string(docs.folder_id).size(), 10u);
    for (const long long moment : {0LL, 1LL, 1700000000LL}) {
        const found_item root = first("/", {.at = moment});
        EXPECT_EQ(root.object, docs.root_guid);
        EXPECT_EQ(root.mode, 040755);
    }
    // An update of the root is taken; nothing moves or deletes it, or the share could never be opened again.
    apply({"<UPD>|<VGID>r2|<BAP>" + docs.root_guid + "|<MTIME>77|<EPG>elsewhere|<LFN>5",
           line("ADD", "o", "v", at(5), "a")});
    apply({"<DEL>|<VGID>r2|<BAP>" + docs.root_guid, "<UPD>|<VGID>r2|<DTIM>5|<BAP>" + docs.root_guid});
    const found_item root = first("/");
    EXPECT_EQ(root.version, "r2");
    EXPECT_EQ(root.mtime, 77);
    EXPECT_EQ(root.dtime, 0);
    EXPECT_EQ(find("/a"), "v");
}

TEST_F(engine_apply, a_known_version_takes_what_a_line_says_and_keeps_its_time) {
    apply({line("ADD", "o", "v1", at(5) + "|<FS>1|<MODE>33188|<XATTR>x|<CPRP>custom_a:1|<CPRP>custom_b:1", "a")});
    apply({line("UPD", "o", "v1", "|<FS>2|<CTIME>900|<CPRP>custom_b:2")});
    const found_item item = first("/a");
    EXPECT_EQ(item.size, 2);
    EXPECT_EQ(item.mode, 33188);
    EXPECT_EQ(item.xattr, "x");
    EXPECT_EQ(item.vtime, 5000000000);
    const std::map<std::string, std::string> expected{{"custom_a", "1"}, {"custom_b", "2"}};
    EXPECT_EQ(item.properties, expected);
}

TEST_F(engine_apply, the_version_time_is_the_lines_else_the_end_of_its_ctime_second_else_arrival) {
    apply({line("ADD", "a", "v", at(5) + "|<CTIME>900", "a"), line("UPD", "b", "v", "|<CTIME>900|<MTIME>950", "b"),
           line("UPD", "c", "v", "|<MTIME>950", "c")});
    EXPECT_EQ(first("/a").vtime, 5000000000);
    EXPECT_EQ(first("/b").vtime, 900999999999);
    EXPECT_GT(first("/c").vtime, 1700000000LL * 1000000000);
    // Of two versions of one second the one that came last is the newest, and coming again counts.
    apply({line("UPD", "b", "w", "|<CTIME>900")});
    EXPECT_EQ(find("/b"), "w");
    apply({line("UPD", "b", "v", "|<CTIME>900")});
    EXPECT_EQ(find("/b"), "v");
}

TEST_F(engine_apply, what_a_line_leaves_out_comes_from_the_version_before_even_if_that_follows_in_the_file) {
    apply({line("UPD", "o", "v2", "|<CTIME>20|<FS>2"),
           line("ADD", "o", "v1", at(10) + "|<FS>1|<MODE>16877|<UID>7|<OTYP>4|<XATTR>x|<CPRP>custom_k:1", "a")});
    const found_item item = first("/a");
    EXPECT_EQ(item.size, 2);
    EXPECT_EQ(item.mode, 16877);
    EXPECT_EQ(item.xattr, "x");
    EXPECT_EQ(item.properties.at("custom_k"), "1");
    EXPECT_EQ(find("/a", {.at = 15}), "v1");

    // What an addition leaves out was not there: a later version does not put it into the past.
    apply({line("UPD", "p", "v2", "|<CTIME>20|<XATTR>late"), line("ADD", "p", "v1", at(10), "b")});
    EXPECT_EQ(first("/b", {.at = 15}).xattr, "");
    EXPECT_EQ(first("/b").xattr, "late");
}

TEST_F(engine_apply, a_deletion_ends_the_newest_version_up_to_its_time) {
    apply({line("ADD", "o", "v1", at(5) + "|<OTYP>4|<MODE>16877", "a"), line("ADD", "o", "v2", at(20), "a")});
    apply({line("DEL", "o", "v1", "|<OTYP>1|<DTIM>10", "a")});
    EXPECT_EQ(finds("/a", {9, 10, 0}), "v1, -, v2") << "what came after the deletion goes on";
    apply({line("DEL", "o", "v2", "|<OTYP>1|<DTIM>30", "a")});
    EXPECT_EQ(finds("/a", {29, 0}) + browse("/"), "v2, -");
    const found_item ended = first("/a");
    EXPECT_EQ(ended.dtime, 30);
    EXPECT_EQ(ended.properties.at("DELETED_TIME"), "30");
    EXPECT_EQ(ended.mode, 16877) << "filled in from the version before";
}

TEST_F(engine_apply, a_deletion_under_a_new_or_no_version_still_ends_the_object) {
    apply({line("ADD", "o", "v1", at(5), "a"), line("ADD", "p", "v1", at(5), "b"), line("ADD", "q", "v1", at(5), "c")});
    apply({line("DEL", "o", "v9", "|<DTIM>10", "a"), "<DEL>|<ADDV>1|<BAP>p|<DTIM>10", "<DEL>|<ADDV>1|<BAP>q|<DTIM>0"});
    EXPECT_EQ(browses("/", {9, 0}), "a b c, -");
    EXPECT_GT(first("/c").dtime, 1700000000) << "no time given: the time of arrival";
}

TEST_F(engine_apply, an_addition_revives_and_an_update_does_not) {
    apply({line("ADD", "o", "v", at(5), "a")});
    const std::pair<std::string, const char*> steps[] = {{line("DEL", "o", "v", "|<DTIM>10", "a"), ""},
                                                         {line("UPD", "o", "v", "|<FS>3", "a"), ""},
                                                         {line("ADD", "o", "v", at(5) + "|<DTIM>0", "a"), "v"},
                                                         {line("ADD", "o", "v", at(5) + "|<DTIM>12", "a"), ""},
                                                         {line("UPD", "o", "v", "|<DTIM>0", "a"), "v"}};
    for (const auto& [change, found] : steps) {
        apply({change});
        EXPECT_EQ(find("/a"), found) << change;
    }
}

TEST_F(engine_apply, a_file_applied_again_alone_or_after_others_changes_nothing) {
    const std::vector<std::vector<std::string>> files{
        {line("UPD", "o", "v2", "|<CTIME>12|<FS>2"), line("ADD", "o", "v1", at(10) + "|<FS>1|<MODE>33188", "a"),
         line("ADD", "p", "v1", at(10) + "|<DTIM>0", "b"), line("DEL", "p", "v1", "|<DTIM>0", "b"),
         line("ADD", "d", "v1", at(10) + "|<OTYP>4", "d"),
         "<ADD>|<SHOW>|<VGID>x1|<BAP>o|<FS>128|<DTIM>0|<EXTP>1|<IEXT>1|<EXTN>3|<CPRP>custom_k:1|<LFN>a"},
        {line("DEL", "o", "v2", "|<DTIM>20", "a"), "<UPD>|<UKEY>x1|<BAP>o|<FS>64|<IEXT>1|<EXTN>3|<LFN>a",
         "<UPD>|<UKEY>x2|<BAP>e|<EPG>o|<EXTP>1|<IEXT>1|<EXTN>3|<LFN>a"},
        // Made anew within the second of its deletion, and moved.
        {line("ADD", "o", "v3", at(20), "a"), "<UPD>|<VGID>v2|<BAP>d|<CTIME>21|<EPG>o|<LFN>d",
         "<DEL>|<VGID>x2|<BAP>e|<EPG>o|<DTIM>0|<IEXT>1|<EXTN>3|<LFN>a"},
        // Two versions of one second, of which the newer is known from its deletion alone.
        {line("UPD", "q", "v1", "|<CTIME>30", "q"), line("DEL", "q", "v2", "|<CTIME>30|<DTIM>31", "q2"),
         "<UPD>|<UKEY>y1|<BAP>o|<CTIME>30|<IEXT>1|<EXTN>4", "<DEL>|<VGID>y2|<BAP>o|<CTIME>30|<DTIM>31|<IEXT>1|<EXTN>4"},
    };
    for (const auto& file : files) {
        ASSERT_TRUE(apply(docs, file).applied);
        const std::string before = rows();
        ASSERT_TRUE(apply(docs, file).applied);
        EXPECT_EQ(rows(), before);
    }
    EXPECT_EQ(find("/a"), "v3");
    EXPECT_EQ(find("/a/d"), "v2");
    const std::string before = rows();
    reopen();
    for (const auto& file : files)
        ASSERT_TRUE(apply(docs, file).applied);
    EXPECT_EQ(rows(), before);
}

TEST_F(engine_apply, one_bad_line_applies_nothing_of_its_file) {
    const std::string before = rows();
    const apply_outcome outcome = apply({line("ADD", "o", "v", at(5), "a"), "<ADD>|<BAP>p|<SIZE>1"});
    EXPECT_FALSE(outcome.applied);
    EXPECT_EQ(outcome.error_line, 2u);
    EXPECT_EQ(outcome.error, "line 2: unknown tag [SIZE]");
    const std::string whole = "*??|" + line("ADD", "o", "v", at(5), "a") + "|\n";
    EXPECT_EQ(apply_bytes(docs, whole + "*??|<ADD>|<BAP>p|").error, "line 2: no line feed at the end of the file");
    EXPECT_EQ(apply_bytes(docs, whole + whole + "\n").error_line, 3u);
    EXPECT_EQ(apply_bytes(docs, std::string(3 << 20, 'x')).error, "line 1: line too long");
    EXPECT_EQ(rows(), before);
    EXPECT_THROW(store->apply_collect_file(docs, directory + "/missing"), std::runtime_error);
    EXPECT_TRUE(apply_bytes(docs, "").applied);
}

TEST_F(engine_apply, two_shares_with_the_same_objects_do_not_meet) {
    const share other = store->register_share("other");
    apply({line("ADD", "o", "v1", at(5), "a")});
    const std::string there = "<ADD>|<VGID>v2|<BAP>o|<VTIM>6000000000|<EPG>" + other.root_guid + "|<LFN>b";
    ASSERT_TRUE(apply(other, {there, "<DEL>|<VGID>v9|<BAP>p|<DTIM>9"}).applied);
    EXPECT_EQ(browse("/"), "a");
    const std::vector<found_item> held = sent(other, request(other, ask_for::path_children, "/", {}));
    ASSERT_EQ(held.size(), 1u);
    EXPECT_EQ(held[0].name, "b");
    // A request cannot name another share than it is for.
    auto crossed = request(other, ask_for::path_children, "/", {});
    crossed.getObjectAccessor(true, true, 2, 2, 14, 157)
        ->getlistobject<KT5ContentIndexing::ZYOrbitSecurityGroup>(7, 7, true)
        ->emplace_back()
        .getlistint(2, 2, true)
        ->push_back(static_cast<int>(other.subclient_id));
    EXPECT_EQ(errors(crossed), "the request names another share\n");
}

TEST_F(engine_apply, records_survive_a_restart_and_old_transactions_are_forgotten) {
    for (const std::int64_t granted : {docs.subclient_id, std::int64_t{77}, docs.subclient_id})
        store->add_token({"hash", granted});
    for (int i = 0; i < 110; ++i)
        store->put_transaction({"t" + std::to_string(i), docs.subclient_id, App::ProcessingStatus_COMPLETED, "", i});
    store->put_transaction({"next", 77, App::ProcessingStatus_QUEUED, "", 6});
    store->put_transaction({"next", 77, App::ProcessingStatus_PROCESSING, "", 6});
    reopen();
    EXPECT_EQ(store->share_of_subclient(docs.subclient_id)->root_guid, docs.root_guid);
    ASSERT_EQ(store->tokens().size(), 2u) << "one for each share, however often it is said";
    EXPECT_EQ(store->tokens()[0].subclient_id, docs.subclient_id);
    ASSERT_EQ(store->open_transactions().size(), 1u);
    EXPECT_EQ(store->open_transactions()[0].status, App::ProcessingStatus_PROCESSING);
    EXPECT_TRUE(store->transaction("t109"));
    EXPECT_FALSE(store->transaction("t1"));
    if (test_storage::is_postgresql()) return;
    const auto mode = std::filesystem::status(directory + "/index.db").permissions();
    EXPECT_EQ(mode, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

// What the first version of the program would have left of the present rows.
constexpr const char* back_to_version_1 = R"(
DROP INDEX version_by_guid; DROP INDEX version_by_time; DROP INDEX version_by_name; DROP INDEX version_by_place;
DROP INDEX extent_by_guid; DROP INDEX extent_by_time; DROP INDEX extent_to_back_up; DROP INDEX version_without_place;
ALTER TABLE version DROP COLUMN share;
ALTER TABLE extent DROP COLUMN share;
ALTER TABLE extent DROP COLUMN state;
CREATE TABLE former AS SELECT version, name, value FROM version_property;
DROP TABLE version_property;
ALTER TABLE former RENAME TO version_property;
CREATE TABLE former AS SELECT extent, name, value FROM extent_property;
DROP TABLE extent_property;
ALTER TABLE former RENAME TO extent_property;
CREATE TABLE meta(key TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO meta SELECT 'last_arrival', max(last_arrival) FROM share;
ALTER TABLE share DROP COLUMN last_arrival;
ALTER TABLE collect_transaction DROP COLUMN server;
ALTER TABLE collect_transaction DROP COLUMN lines;
DROP TABLE withdrawn_share;
DROP TABLE token;
CREATE TABLE token(id INTEGER PRIMARY KEY, hash TEXT NOT NULL UNIQUE, subclient_id INTEGER NOT NULL);
INSERT INTO token(hash, subclient_id) VALUES('hash', 7);
PRAGMA user_version = 1;
)";

TEST_F(engine_apply, a_database_of_the_first_version_is_brought_up_to_date) {
    if (test_storage::is_postgresql()) GTEST_SKIP() << "there was no such version for it";
    const std::string extent = "|<VTIM>5000000000|<BAP>o|<CPRP>custom_k:v|<IEXT>1|<EXTN>";
    apply({"<ADD>|<VGID>old" + extent + "0", "<ADD>|<VGID>x" + extent + "0", "<ADD>|<VGID>y" + extent + "1",
           line("ADD", "a", "v1", "|<CPRP>custom_k:v", "name")});
    const std::string before = rows();
    store.reset();
    open_sqlite(directory + "/index.db", sql_access::write)->execute(back_to_version_1);
    for (int round = 0; round < 2; ++round) {
        reopen();
        EXPECT_EQ(rows(), before);
        std::string versions;
        for (const found_item& item : ask(ask_for::extents_to_back_up, ""))
            versions += item.version;
        EXPECT_EQ(versions, "xy");
        store->add_token({"hash", 8});
        const std::vector<token_grant> tokens = store->tokens();
        ASSERT_EQ(tokens.size(), 2u);
        EXPECT_EQ(tokens[0].subclient_id, 7);
    }
}

TEST_F(engine_apply, a_database_of_the_version_before_is_brought_up_to_date) {
    apply({line("ADD", "a", "v1", "", "name")});
    store.reset();
    const auto beside = storage.connect(sql_access::write);
    const bool is_postgresql = test_storage::is_postgresql();
    beside->execute("DROP INDEX version_by_name; CREATE INDEX version_by_name ON version(share, parent, name_key)");
    beside->execute(is_postgresql ? "UPDATE schema_version SET version = 4" : "PRAGMA user_version = 4");
    for (int round = 0; round < 2; ++round) {
        reopen();
        EXPECT_EQ(find("/name"), "v1");
    }
    sql_statement indexed(*beside, is_postgresql ? "SELECT count(*) FROM pg_indexes "
                                                   "WHERE indexname = 'version_by_name' AND indexdef LIKE '%state%'"
                                                 : "SELECT count(*) FROM sqlite_master "
                                                   "WHERE name = 'version_by_name' AND sql LIKE '%state%'");
    ASSERT_TRUE(indexed.step());
    EXPECT_EQ(indexed.integer(0), 1);
}

}  // namespace

}  // namespace index_server
