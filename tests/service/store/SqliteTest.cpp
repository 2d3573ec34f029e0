#include "Sqlite.h"

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvaned::sqlite {
namespace {

using ::testing::HasSubstr;

// Counts up and never ends.
constexpr const char* kEndless =
    "WITH RECURSIVE endless(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM endless) SELECT max(n) FROM endless";

class SqliteTest : public ::testing::Test {
protected:
    std::string failureOf(const std::string& sql)
    {
        try {
            Query(connection, sql).run();
            return "";
        } catch (const SqliteError& error) {
            return error.what();
        }
    }

    Connection connection{":memory:", SQLITE_OPEN_READWRITE};
};

TEST_F(SqliteTest, OpenQueriesOfOneStatementAreIndependent)
{
    const std::string sql = "SELECT value AS item FROM json_each(?)";
    Query outer(connection, sql);
    outer.bind(std::string("[1,2,3]"));
    std::vector<std::int64_t> seen;
    while (outer.next()) {
        seen.push_back(outer.number("item"));
        Query inner(connection, sql);
        inner.bind(std::string("[10,20]"));
        while (inner.next()) {
            seen.push_back(inner.number("item"));
        }
    }
    EXPECT_EQ(seen, (std::vector<std::int64_t>{1, 10, 20, 2, 10, 20, 3, 10, 20}));
}

TEST_F(SqliteTest, StringsOfTemporariesAreCopied)
{
    std::string sql = "SELECT ? AS first, ? AS second";
    Query query(connection, sql);
    sql.assign(sql.size(), 'x');
    std::string value(100, 'a');
    query.bind(std::string_view(value), std::string(100, 'b'));
    value.assign(100, 'c');
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.text("first"), std::string(100, 'a'));
    EXPECT_EQ(query.text("second"), std::string(100, 'b'));
}

TEST_F(SqliteTest, ColumnsAreReadByNameInAnyOrder)
{
    Query query(connection, "SELECT 1 AS one, 2 AS two, 'three' AS three");
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.text("three"), "three");
    EXPECT_EQ(query.number("one"), 1);
    EXPECT_EQ(query.number("two"), 2);
    EXPECT_THROW(query.number("four"), std::logic_error);
}

TEST_F(SqliteTest, ErrorsNameTheStatement)
{
    EXPECT_THAT(failureOf("SELECT nothing\n   FROM nowhere"), HasSubstr("(in: SELECT nothing FROM nowhere)"));
    connection.execute("CREATE TABLE t (a UNIQUE)");
    EXPECT_EQ(failureOf("INSERT INTO t VALUES (1)"), "");
    EXPECT_THAT(failureOf("INSERT INTO t VALUES (1)"), HasSubstr("UNIQUE constraint failed: t.a (in: INSERT INTO t"));
}

TEST_F(SqliteTest, StatementsThatTakeTooLongAreInterrupted)
{
    const StatementLimit limit(connection, std::chrono::milliseconds(20), {});
    try {
        Query(connection, kEndless).next();
        FAIL() << "not interrupted";
    } catch (const Interrupted& interrupted) {
        EXPECT_EQ(interrupted.reason(), Interrupted::Reason::TimeUp);
        EXPECT_THAT(interrupted.what(), HasSubstr("endless"));
    }
}

TEST_F(SqliteTest, StatementsEndWhenTheirResultIsNoLongerWanted)
{
    std::atomic<bool> begun{false};
    std::atomic<bool> abandoned{false};
    std::thread client([&] {
        while (!begun) {
            std::this_thread::yield();
        }
        abandoned = true;
    });
    {
        const StatementLimit limit(connection, std::chrono::hours(1), [&] {
            begun = true;
            return abandoned.load();
        });
        try {
            Query(connection, kEndless).next();
            ADD_FAILURE() << "not interrupted";
        } catch (const Interrupted& interrupted) {
            EXPECT_EQ(interrupted.reason(), Interrupted::Reason::Abandoned);
        }
    }
    client.join();
    // The connection works as before.
    Query query(connection, "SELECT 7");
    EXPECT_TRUE(query.next());
    EXPECT_EQ(query.number(0), 7);
}

}  // namespace
}  // namespace corvaned::sqlite
