// Checks, backup ids, removals and backups of an index.
#include <sys/stat.h>

#include <filesystem>

#include "server/administration.h"
#include "tests/server/engine_fixture.h"

namespace index_server {
namespace {

class engine_admin : public engine_fixture {
protected:
    engine_admin() { fill(); }

    /// Feeds the share with a file in two directories, with extents.
    void fill() {
        apply({add("d", "", "dir", 4), add("e", "d", "sub", 4), add("f", "e", "file", 1), add("g", "e", "other", 1)});
        apply({"<UPD>|<VGID>f2|<BAP>f|<VTIM>90000000000|<CPRP>custom_a:1|<LFN>file", extent(1, "x1"), extent(1, "x2"),
               extent(2, "y") + "|<CPRP>custom_b:1"});
    }

    std::string add(const std::string& object, const std::string& parent, const std::string& name, int type) {
        return "<ADD>|<VGID>" + object + "1|<BAP>" + object + "|<EPG>" + (parent.empty() ? docs.root_guid : parent) +
               "|<VTIM>10000000000|<OTYP>" + std::to_string(type) + "|<LFN>" + name;
    }
    static std::string extent(int number, const std::string& version) {
        return "<ADD>|<IEXT>1|<VGID>" + version + "|<BAP>x|<EPG>f|<EXTN>" + std::to_string(number) +
               "|<VTIM>20000000000";
    }

    /// The kinds of all findings, each with the object it is about.
    std::string check() {
        std::string text;
        std::optional<step_place> next = step_place();
        objects_ = waiting_ = 0;
        while (next) {
            const check_step step = store->admin().check(docs, *next);
            for (const finding& one : step.findings)
                text += (text.empty() ? "" : " ") + one.kind + ":" + (one.object == docs.root_guid ? "/" : one.object);
            objects_ += step.objects;
            waiting_ += step.waiting;
            next = step.next;
        }
        return text;
    }

    /// Runs a change of rows behind the engine's back. In it, [f] stands for the object of that GUID, and AND follows.
    void spoil(std::string sql) {
        const std::string share = "share = " + std::to_string(docs.subclient_id);
        for (std::size_t at = sql.find('['); at != std::string::npos; at = sql.find('[')) {
            const std::size_t end = sql.find(']', at);
            const std::string guid = sql.substr(at + 1, end - at - 1);
            sql.replace(at, end - at + 1,
                        "(SELECT id FROM object WHERE " + share + " AND guid = '" +
                            (guid == "/" ? docs.root_guid : guid) + "')");
        }
        storage.connect(sql_access::write)->execute((sql + " AND " + share).c_str());
    }

    std::uint64_t objects_ = 0, waiting_ = 0;
};

TEST_F(engine_admin, a_sound_index_has_no_findings) {
    apply({add("w", "unknown", "early", 1), "<DEL>|<BAP>g|<DTIM>50"});
    EXPECT_EQ(check(), "");
    EXPECT_EQ(objects_, 6u);
    EXPECT_EQ(waiting_, 1u);
}

TEST_F(engine_admin, each_planted_fault_is_found) {
    const struct {
        const char *sql, *findings;
    } cases[] = {
        {"UPDATE version SET parent = 99999 WHERE object = [f]", "orphan:f orphan:f"},
        {"UPDATE version SET parent = 99999 WHERE object = [f] AND state = 2", "orphan:f"},
        {"UPDATE version SET parent = [e] WHERE object = [d]", "cycle:d cycle:e cycle:f cycle:g"},
        {"UPDATE version SET state = 0 WHERE object = [f]", "newest:f"},
        {"UPDATE version SET state = 2 WHERE object = [f]", "newest:f"},
        {"UPDATE version SET state = 1 WHERE object = [g]", "state:g"},
        {"UPDATE version SET vtime = 95000000000 WHERE object = [f] AND state = 2", "newest:f state:f"},
        {"UPDATE object SET newest = 1 WHERE guid = 'g'", "newest:g"},
        {"UPDATE version SET name = 'file', name_key = 'file' WHERE object = [g]", "place:g"},
        {"UPDATE version SET name_key = 'x' WHERE object = [g]", "name:g"},
        {"UPDATE version SET parent = [] WHERE object = [g]", "root:g"},
        {"UPDATE version SET parent = NULL WHERE object = [/]", "root:/"},
        {"UPDATE version SET dtime = 5, state = 1 WHERE object = [/]", "root:/"},
        {"DELETE FROM version WHERE object = [g]", "newest:g"},
        {"UPDATE version SET object = 99999 WHERE object = [g]", "newest:g stray:"},
        {"UPDATE extent SET file = 99999 WHERE number = 1", "stray:"},
        {"UPDATE version_property SET version = 99999 WHERE version > 0", "stray:"},
        {"UPDATE extent_property SET extent = 99999 WHERE extent > 0", "stray:"},
        {"DELETE FROM object WHERE guid = 'f'", "stray: stray:"},
        {"UPDATE extent SET state = 0 WHERE version_guid = 'x1'", "newest:f"},
        {"UPDATE extent SET dtime = 77 WHERE version_guid = 'y'", "state:f"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.sql);
        docs = store->register_share(one.sql);
        fill();
        EXPECT_EQ(check(), "");
        spoil(one.sql);
        EXPECT_EQ(check(), one.findings);
    }
}

TEST_F(engine_admin, rows_that_belong_to_nothing_are_found_behind_more_than_one_step_looks_at) {
    std::vector<std::string> lines;
    for (int i = 0; i < 21000; ++i)
        lines.push_back(extent(i, "x"));
    ASSERT_TRUE(apply(docs, lines).applied);
    EXPECT_EQ(check(), "");
    spoil("UPDATE version_property SET version = 99999 WHERE version > 0");
    EXPECT_EQ(check(), "stray:");
    EXPECT_THROW(store->admin().check(docs, "no place"), std::invalid_argument);
    EXPECT_THROW(store->admin().check(docs, "r9:1"), std::invalid_argument);
}

TEST_F(engine_admin, extents_get_their_backup_id_once) {
    const auto mark = [&](std::int64_t id, std::optional<std::int64_t> up_to) {
        std::uint64_t marked = 0;
        std::optional<step_place> next = step_place();
        while (next) {
            const backup_mark_step step = store->admin().mark_backed_up(docs, id, up_to, *next);
            marked += step.marked;
            next = step.next;
        }
        return marked;
    };
    const auto waiting = [&] { return ask(ask_for::extents_to_back_up, "").size(); };
    apply({"<DEL>|<IEXT>1|<VGID>y|<BAP>x|<EPG>f|<EXTN>2|<DTIM>50",
           "<ADD>|<IEXT>1|<VGID>z|<BAP>x|<EPG>f|<EXTN>3|<VTIM>60000000000"});
    EXPECT_EQ(waiting(), 3u);
    EXPECT_EQ(mark(7, 30), 2u);
    EXPECT_EQ(waiting(), 1u);
    EXPECT_EQ(mark(8, std::nullopt), 1u);
    EXPECT_EQ(mark(9, std::nullopt), 0u);
    EXPECT_EQ(waiting(), 0u);
    EXPECT_EQ(store->admin().rows_of(docs).extents_to_back_up, 0u);
    apply({extent(2, "y2")});
    EXPECT_EQ(waiting(), 1u);
}

TEST_F(engine_admin, a_removal_that_was_cut_goes_on_at_the_next_start) {
    const share mail = store->register_share("mail");
    apply(mail, {"<ADD>|<VGID>m1|<BAP>m|<EPG>" + mail.root_guid + "|<LFN>letter"});
    std::vector<std::string> lines;
    for (int i = 0; i < 2000; ++i)
        lines.push_back(add("n" + std::to_string(i), "d", "n" + std::to_string(i), 1) + "|<CPRP>custom_a:b");
    apply(docs, lines);
    store->add_token({"hash", docs.subclient_id});
    store->admin().withdraw_share(docs);
    EXPECT_TRUE(store->admin().remove_rows(docs.subclient_id));
    reopen();
    EXPECT_EQ(store->shares().size(), 1u);
    EXPECT_TRUE(store->tokens().empty());
    ASSERT_EQ(store->admin().withdrawn_shares(), std::vector{docs.subclient_id});
    while (store->admin().remove_rows(docs.subclient_id)) {
    }
    EXPECT_TRUE(store->admin().withdrawn_shares().empty());
    const share_rows left = store->admin().rows_of(docs);
    EXPECT_EQ(left.objects + left.versions + left.extents, 0u);
    docs = mail;
    EXPECT_EQ(find("/letter"), "m1");
}

TEST_F(engine_admin, a_backup_answers_as_the_index_did) {
    const std::string copy = scratch / "restored/index.db";
    if (test_storage::is_postgresql()) {
        EXPECT_THROW(store->admin().back_up_to(copy, false), backup_refused);
        return;
    }
    std::filesystem::create_directory(scratch / "restored");
    const ::mode_t former = ::umask(0);
    store->admin().back_up_to(copy, false);
    ::umask(former);
    struct stat info {};
    ASSERT_EQ(::stat(copy.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    apply({add("h", "e", "late", 1)});
    store = open_sqlite_engine(scratch / "restored");
    EXPECT_EQ(browse("/dir/sub"), "other file");
    EXPECT_EQ(check(), "");
    EXPECT_THROW(store->admin().back_up_to(copy, true), backup_refused);
    EXPECT_EQ(store->shares().front().root_guid, docs.root_guid);
}

}  // namespace
}  // namespace index_server
