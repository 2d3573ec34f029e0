// The guide as a file: which files are refused, and how a new file replaces the one in use.
#include "GuideFile.h"

#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "NewGuide.h"
#include "OperatorError.h"
#include "OperatorErrorOf.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string refusal(const std::string& path)
{
    return test::operatorErrorOf([&] { GuideFile guide(path); });
}

std::string listingOf(const std::string& title)
{
    return "<tv><programme channel='c' start='20261120180000'><title>" + title + "</title></programme></tv>";
}

std::vector<std::string> titlesOf(sqlite::Connection& connection)
{
    std::vector<std::string> titles;
    sqlite::Query rows(connection, "SELECT title FROM airing");
    while (rows.next()) {
        titles.emplace_back(rows.text(0));
    }
    return titles;
}

void change(const std::string& path, const std::string& sql)
{
    sqlite::Connection(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE).execute(sql);
}

TEST(GuideFile, ReportsWhatIsWrongWithAFile)
{
    TemporaryDatabase file;
    EXPECT_THAT(refusal(file.path()), HasSubstr("create one with: corvaned import --db " + file.path()));
    EXPECT_FALSE(std::filesystem::exists(file.path()));
    test::writeFile(file.path(),
                    "this file is plain text and not a database; it is too long to be taken for an empty one");
    EXPECT_THAT(refusal(file.path()), HasSubstr("file is not a database"));
    std::filesystem::remove(file.path());
    change(file.path(), "CREATE TABLE mine (x)");
    EXPECT_THAT(refusal(file.path()), HasSubstr("belongs to another program"));
}

TEST(GuideFile, RefusesNewerAndOlderFormats)
{
    TemporaryDatabase file;
    createGuideIfMissing(file.path(), nullptr);
    EXPECT_EQ(refusal(file.path()), "");
    change(file.path(), "PRAGMA user_version = 1000");
    EXPECT_THAT(refusal(file.path()), HasSubstr("was written by a newer corvaned"));
    EXPECT_THROW(isCombinedDatabase(file.path()), OperatorError);
    change(file.path(), "PRAGMA user_version = 7");
    EXPECT_THAT(refusal(file.path()), HasSubstr("has the format of an older corvaned"));
    EXPECT_TRUE(isCombinedDatabase(file.path()));
}

TEST(GuideFile, IsReadOnlyAndPrivateToItsOwner)
{
    const mode_t before = ::umask(0);
    test::TestStore db;
    ::umask(before);
    EXPECT_THROW((*db.guide.lease()).execute("DELETE FROM airing"), sqlite::SqliteError);
    EXPECT_EQ(std::filesystem::status(db.file.path()).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(GuideFile, ANewFileIsUsedWithinASecondAndOldLeasesKeepTheOldOne)
{
    test::TestStore db;
    test::importListing(db.guide, listingOf("Old"));
    const GuideFile::Lease early = db.guide.lease();
    importGuide(db.file.path(), {test::inputOf(listingOf("New"))}, {});
    EXPECT_THAT(titlesOf(*early), ElementsAre("Old"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    EXPECT_THAT(titlesOf(*db.guide.lease()), ElementsAre("New"));
    EXPECT_THAT(titlesOf(*early), ElementsAre("Old"));
}

TEST(GuideFile, ADeletedFileStaysInUse)
{
    test::TestStore db;
    test::importListing(db.guide, listingOf("Old"));
    std::vector<std::string> log;
    GuideFile guide(db.file.path(), 2, [&log](const std::string& line) { log.push_back(line); });
    std::filesystem::remove(db.file.path());
    guide.refresh();
    guide.refresh();
    EXPECT_THAT(log, ElementsAre(HasSubstr("the guide that was read before stays in use")));
    std::atomic<int> read{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] { read += titlesOf(*guide.lease()).size() == 1 ? 1 : 0; });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(read, 4);
    importGuide(db.file.path(), {test::inputOf(listingOf("New"))}, {});
    guide.refresh();
    EXPECT_THAT(titlesOf(*guide.lease()), ElementsAre("New"));
    EXPECT_EQ(log.size(), 2U);
}

TEST(GuideFile, AFileThatIsNotAGuideIsReportedOnce)
{
    test::TestStore db;
    test::importListing(db.guide, listingOf("Old"));
    std::vector<std::string> log;
    GuideFile guide(db.file.path(), 1, [&log](const std::string& line) { log.push_back(line); });
    test::writeFile(db.file.path() + ".new", std::string(5000, 'x'));
    std::filesystem::rename(db.file.path() + ".new", db.file.path());
    guide.refresh();
    guide.refresh();
    EXPECT_THAT(log, ElementsAre(HasSubstr("file is not a database")));
    EXPECT_THAT(titlesOf(*guide.lease()), ElementsAre("Old"));
}

TEST(NewGuide, AnAbandonedGuideLeavesNoFile)
{
    test::TestStore db;
    {
        NewGuide made(db.file.path(), NewGuide::Begin::Whole, [](const std::string&) {});
        EXPECT_TRUE(std::filesystem::exists(db.file.path() + ".part"));
    }
    EXPECT_FALSE(std::filesystem::exists(db.file.path() + ".part"));
    EXPECT_EQ(refusal(db.file.path()), "");
}

TEST(NewGuide, LeftoversOfAKilledImportAreRemoved)
{
    test::TestStore db;
    test::writeFile(db.file.path() + ".part", "rest");
    test::importListing(db.guide, listingOf("New"));
    EXPECT_FALSE(std::filesystem::exists(db.file.path() + ".part"));
    EXPECT_THAT(test::rows(db.guide, "SELECT title FROM airing"), ElementsAre("New"));
}

TEST(NewGuide, ASymbolicLinkIsKept)
{
    test::TestStore db;
    const std::string link = db.file.path() + ".link";
    std::filesystem::create_symlink(db.file.path(), link);
    importGuide(link, {test::inputOf(listingOf("New"))}, {});
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    db.guide.refresh();
    EXPECT_THAT(test::rows(db.guide, "SELECT title FROM airing"), ElementsAre("New"));
}

TEST(NewGuide, OnlyOneImportRunsAtATime)
{
    test::TestStore db;
    std::atomic<int> waiting{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            ImportOptions options;
            options.isMerge = true;
            options.warn = [&waiting](const std::string&) { ++waiting; };
            const std::string channel = "c" + std::to_string(i);
            importGuide(db.file.path(),
                        {test::inputOf("<tv><programme channel='" + channel +
                                       "' start='20261120180000'><title>T</title></programme></tv>")},
                        options);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    db.guide.refresh();
    EXPECT_THAT(test::rows(db.guide, "SELECT count(*), count(DISTINCT source_id) FROM airing"), ElementsAre("4|4"));
}

TEST(TemporaryDatabase, LeavesNothing)
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
