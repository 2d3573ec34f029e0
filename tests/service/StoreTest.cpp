#include "Store.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "OperatorError.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using ::testing::HasSubstr;

std::string refusal(const std::string& path, Store::Mode mode)
{
    try {
        Store store(path, mode);
        return "";
    } catch (const OperatorError& error) {
        return error.what();
    }
}

TEST(Store, ReportsWhatIsWrongWithADatabase)
{
    TemporaryDatabase file;
    EXPECT_THAT(refusal(file.path(), Store::Mode::Existing),
                HasSubstr("create one with: corvaned import --db " + file.path()));
    EXPECT_FALSE(std::filesystem::exists(file.path()));
    EXPECT_THAT(refusal("/nonexistent/guide.db", Store::Mode::Create),
                HasSubstr("cannot open database /nonexistent/guide.db"));
    test::writeFile(file.path(),
                    "this file is plain text and not a database; it is too long to be taken for an empty one");
    EXPECT_THAT(refusal(file.path(), Store::Mode::Existing), HasSubstr("file is not a database"));
}

TEST(Store, DoesNotChangeDatabasesOfOtherPrograms)
{
    TemporaryDatabase file;
    sqlite::Connection(file.path(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE).execute("CREATE TABLE mine (x)");
    EXPECT_THAT(refusal(file.path(), Store::Mode::Create), HasSubstr("belongs to another program"));
}

TEST(Store, RefusesANewerFormat)
{
    TemporaryDatabase file;
    {
        Store store(file.path(), Store::Mode::Create);
        (*store.lease()).execute("PRAGMA user_version = 1000");
    }
    EXPECT_THAT(refusal(file.path(), Store::Mode::Existing), HasSubstr("was written by a newer corvaned"));
}

TEST(Store, ReopensWhatItMade)
{
    TemporaryDatabase file;
    EXPECT_EQ(refusal(file.path(), Store::Mode::Create), "");
    EXPECT_EQ(refusal(file.path(), Store::Mode::Existing), "");
}

TEST(Store, OnlyTheOwnerCanReadANewDatabase)
{
    const mode_t before = ::umask(0);
    TemporaryDatabase file;
    {
        Store store(file.path(), Store::Mode::Create);
        (*store.lease()).execute("INSERT INTO session VALUES ('s', 'u', 'k', 1)");
        for (const char* companion : {"", "-wal", "-shm"}) {
            EXPECT_EQ(std::filesystem::status(file.path() + companion).permissions(),
                      std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
                << companion;
        }
    }
    ::umask(before);
}

TEST(Store, ReadingOnlyChangesNothing)
{
    TemporaryDatabase file;
    EXPECT_THAT(refusal(file.path(), Store::Mode::ReadOnly), HasSubstr("there is no database"));
    EXPECT_FALSE(std::filesystem::exists(file.path()));
    EXPECT_EQ(refusal(file.path(), Store::Mode::Create), "");
    const std::string before = test::readFile(file.path());
    Store store(file.path(), Store::Mode::ReadOnly);
    EXPECT_EQ(test::rows(store, "SELECT count(*) FROM airing"), std::vector<std::string>{"0"});
    EXPECT_THROW((*store.lease()).execute("DELETE FROM airing"), sqlite::SqliteError);
    EXPECT_THROW(store.connect()->execute("DELETE FROM airing"), sqlite::SqliteError);
    EXPECT_EQ(test::readFile(file.path()), before);
}

TEST(Store, ReadingOnlySeesWhatAWriterHasOnlyInItsLog)
{
    TemporaryDatabase file;
    Store writer(file.path(), Store::Mode::Create);
    (*writer.lease()).execute("INSERT INTO session VALUES ('s', 'u', 'k', 1)");
    Store reader(file.path(), Store::Mode::ReadOnly);
    EXPECT_EQ(test::rows(reader, "SELECT id FROM session"), std::vector<std::string>{"s"});
}

TEST(Store, ReadingOnlyRefusesAnOlderFormat)
{
    TemporaryDatabase file;
    {
        Store store(file.path(), Store::Mode::Create);
        (*store.lease()).execute("PRAGMA user_version = 1");
    }
    EXPECT_THAT(refusal(file.path(), Store::Mode::ReadOnly), HasSubstr("has the format of an older corvaned"));
}

TEST(Store, TemporaryDatabasesLeaveNothing)
{
    std::string path;
    {
        test::TestStore db;
        path = db.file.path();
        EXPECT_TRUE(std::filesystem::exists(path));
    }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(path).parent_path()));
}

}  // namespace
}  // namespace corvaned
