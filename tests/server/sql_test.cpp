// What every driver of the storage does the same way.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "server/postgresql_copy.h"
#include "tests/storage/test_storage.h"
#include "tests/support/scratch_directory.h"

namespace index_server {

namespace {

/// Every byte once, in an order that is text in no encoding.
std::string all_bytes() {
    std::string bytes;
    for (int byte = 255; byte >= 0; --byte)
        bytes += static_cast<char>(byte);
    return bytes;
}

class engine_sql : public testing::Test {
protected:
    engine_sql() {
        storage.open();
        connection = storage.connect(sql_access::write);
    }

    std::int64_t count() {
        sql_statement statement(*connection, "SELECT count(*) FROM object WHERE share = 1");
        const statement_run run(statement);
        return statement.step() ? statement.integer(0) : -1;
    }
    void insert(std::int64_t id, std::string_view guid) {
        sql_statement statement(*connection, "INSERT INTO object(share, id, guid) VALUES(1, ?1, ?2)");
        statement.bind(1, id).bind(2, guid).run();
    }

    const scratch_directory scratch;
    const test_storage storage{scratch.path()};
    std::unique_ptr<sql_connection> connection;
};

TEST_F(engine_sql, values_come_back_as_they_went_in) {
    sql_statement put(*connection,
                      "INSERT INTO object(share, id, guid, newest) VALUES(1, ?1, ?2, ?3) RETURNING id, guid");
    sql_statement get(*connection, "SELECT newest, guid, 'is this ?1' FROM object WHERE share = 1 AND id = ?1");
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    std::int64_t id = 0;
    for (const std::optional<std::int64_t> number :
         {std::optional(least), std::optional(most), std::optional<std::int64_t>(-1), std::optional<std::int64_t>(0),
          std::optional<std::int64_t>()}) {
        const std::string guid = all_bytes() + std::to_string(++id);
        {
            const statement_run run(put);
            ASSERT_TRUE(put.bind(1, id).bind(2, guid).bind(3, number).step());
            EXPECT_EQ(put.integer(0), id);
            EXPECT_EQ(put.text(1), guid);
        }
        const statement_run run(get);
        ASSERT_TRUE(get.bind(1, id).step());
        EXPECT_EQ(get.integer_if_any(0), number);
        EXPECT_EQ(get.text(1), guid);
        EXPECT_EQ(get.text(2), "is this ?1");
        EXPECT_FALSE(get.step());
    }
}

TEST_F(engine_sql, a_transaction_counts_whole_or_not_at_all) {
    {
        sql_transaction failing(*connection, sql_access::write);
        insert(1, "a");
        EXPECT_THROW(insert(2, "a"), std::runtime_error);
    }
    EXPECT_EQ(count(), 0);
    const auto reading = storage.connect(sql_access::read);
    sql_statement counted(*reading, "SELECT count(*) FROM object WHERE share = 1");
    const auto seen = [&] {
        const statement_run run(counted);
        return counted.step() ? counted.integer(0) : -1;
    };
    sql_transaction look(*reading, sql_access::read);
    EXPECT_EQ(seen(), 0);
    sql_transaction kept(*connection, sql_access::write);
    insert(1, "a");
    kept.commit();
    EXPECT_EQ(seen(), 0) << "a reader sees one state";
    look.commit();
    EXPECT_EQ(seen(), 1);
}

class postgresql_bulk : public engine_sql {};

TEST_F(postgresql_bulk, rows_in_bulk_arrive_whole_or_not_at_all) {
    if (!test_storage::is_postgresql()) GTEST_SKIP() << "the embedded engine needs none";
    constexpr const char* sql = "COPY object(share, id, guid, newest) FROM STDIN (FORMAT binary)";
    constexpr std::int64_t rows = 20000;
    {
        sql_transaction transaction(*connection, sql_access::write);
        postgresql_copy copy(*connection, sql);
        for (std::int64_t id = 1; id <= rows; ++id)
            copy.row(4)
                .add(std::int64_t{1})
                .add(id)
                .add(all_bytes() + std::to_string(id))
                .add(std::optional<std::int64_t>());
        copy.finish();
        transaction.commit();
    }
    EXPECT_EQ(count(), rows);
    for (const bool is_given_up : {true, false}) {
        sql_transaction transaction(*connection, sql_access::write);
        postgresql_copy copy(*connection, sql);
        copy.row(4).add(std::int64_t{1}).add(rows + 1).add("new").add_null();
        if (is_given_up) continue;
        copy.row(4).add(std::int64_t{1}).add(rows + 1).add("twice").add_null();
        EXPECT_THROW(copy.finish(), std::runtime_error);
    }
    EXPECT_EQ(count(), rows);
}

}  // namespace

}  // namespace index_server
