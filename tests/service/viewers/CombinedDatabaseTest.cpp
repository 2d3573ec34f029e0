// combined.db.gz was made by the last version that kept guide and viewers' data in one file: evening.xml and one
// viewer.
#include "CombinedDatabase.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ContentCoding.h"
#include "OperatorErrorOf.h"
#include "Session.h"
#include "TestSupport.h"
#include "Upload.h"
#include "Viewer.h"

namespace corvaned {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string kUser = "361e0e14f87af5169816e45eac6b0f44";
const std::string kToken = "75b202cee09156165b7f9d2dc7058536+" + kUser + "+27ec19bd6d32a08552b141db2fa7e11964210337";
constexpr std::int64_t kFerry = 5061772519362390105;

class CombinedDatabaseTest : public ::testing::Test {
protected:
    CombinedDatabaseTest()
    {
        http::GunzipError error{};
        test::writeFile(path, http::gunzipped(test::testData("combined.db.gz"), 1 << 24, error).value());
    }

    void split()
    {
        splitCombinedDatabase(path, "", [this](const std::string& line) { log.push_back(line); });
    }

    void expectAllKept() const
    {
        const std::unique_ptr<ViewerStore> viewers = openViewers(viewersBeside(path));
        GuideFile guide(path);
        std::string user;
        EXPECT_EQ(checkToken(*viewers, kToken, "", 1'800'000'000, user), TokenCheck::Good);
        EXPECT_TRUE(viewer::isFavorite(*viewers, kUser, viewer::Subject::Channel, 1));
        EXPECT_TRUE(viewer::isFavorite(*viewers, kUser, viewer::Subject::Content, kFerry));
        EXPECT_EQ(viewer::countVotes(*viewers, kUser, viewer::Subject::Content, kFerry).own, viewer::Vote::Like);
        EXPECT_EQ(viewer::agreementOf(*viewers, kUser).status, viewer::kAgreed);
        EXPECT_EQ(viewer::loadHeadend(*viewers, kUser)->device, "box");
        EXPECT_EQ(findUpload(*viewers, kUser)->content, std::string("a\0b\xff", 4).substr(0, 1));
        EXPECT_THAT(test::values(*viewers,
                                 "SELECT seq || '|' || at || '|' || source_id || '|' || content_id AS value "
                                 "FROM tuning ORDER BY seq"),
                    ElementsAre("1|1795305748|1|0", "2|1795305748|2|5061772519362390105"));
        EXPECT_THAT(test::values(*viewers,
                                 "SELECT day || '|' || source_id || '|' || users AS value FROM tuned_day "
                                 "ORDER BY source_id"),
                    ElementsAre("20779|1|1", "20779|2|1"));
        EXPECT_THAT(test::values(*viewers, "SELECT title AS value FROM remembered_content"), ElementsAre(Not("")));
        EXPECT_THAT(test::rows(guide, "SELECT count(*) FROM airing"), ElementsAre("4"));
        EXPECT_THAT(test::rows(guide, "SELECT count(*) > 0 FROM headend"), ElementsAre("1"));
        EXPECT_THAT(test::rows(guide, "SELECT count(*) FROM search WHERE search MATCH 'ferry'"), ElementsAre(Not("0")));
    }

    TemporaryDatabase folder;
    const std::string path = folder.path();
    std::vector<std::string> log;
};

TEST_F(CombinedDatabaseTest, AllThatViewersKeptIsMoved)
{
    split();
    expectAllKept();
    EXPECT_THAT(log, ElementsAre(HasSubstr("rows of viewers' data were copied"), HasSubstr(path + ".combined")));
    // The guide may be copied to other machines.
    EXPECT_EQ(test::readFile(path).find(kToken.substr(0, 32)), std::string::npos) << "the guide has a session's key";
    log.clear();
    split();
    EXPECT_THAT(log, IsEmpty()) << "it was split again";
}

TEST_F(CombinedDatabaseTest, AnInterruptedSplitIsCompleted)
{
    const std::string original = test::readFile(path);
    split();
    // As if the new guide had not been renamed yet.
    std::filesystem::remove(path);
    std::filesystem::create_hard_link(path + ".combined", path);
    split();
    expectAllKept();
    // As if the run had ended before the copy.
    for (const char* companion : {"", "-wal", "-shm"}) {
        std::filesystem::remove(viewersBeside(path) + companion);
    }
    std::filesystem::remove(path);
    std::filesystem::create_hard_link(path + ".combined", path);
    split();
    expectAllKept();
}

TEST_F(CombinedDatabaseTest, RefusesToMixTwoStores)
{
    viewer::setAgreement(*openViewers(viewersBeside(path)), "somebody", viewer::kAgreed);
    const std::string before = test::readFile(path);
    EXPECT_THAT(test::operatorErrorOf([&] { split(); }), HasSubstr("name an empty store with --viewers"));
    EXPECT_TRUE(isCombinedDatabase(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".combined"));
}

TEST_F(CombinedDatabaseTest, EarlierFormatsAreBroughtUpToDateFirst)
{
    sqlite::Connection(path, SQLITE_OPEN_READWRITE)
        .execute(
            "DROP TRIGGER tuning_added; DROP TRIGGER tuning_removed; DROP TRIGGER half_hour_added;"
            "DROP TRIGGER half_hour_changed; DROP TRIGGER half_hour_removed;"
            "DROP TABLE tuned_day; DROP TABLE tuned_half_hour; DROP TABLE tuned_habit; DROP INDEX tuning_by_user;"
            "CREATE INDEX tuning_by_time ON tuning (at, source_id, user_id);"
            "ALTER TABLE channel DROP COLUMN details; ALTER TABLE channel DROP COLUMN is_number_listed;"
            "ALTER TABLE credit DROP COLUMN details; DROP TABLE airing_details; DROP TABLE fetched_listing;"
            "PRAGMA user_version = 5");
    split();
    expectAllKept();
}

TEST_F(CombinedDatabaseTest, AnImportSplitsBeforeItReplacesTheGuide)
{
    split();
    GuideFile guide(path);
    const std::vector<std::string> sources = test::rows(guide, "SELECT * FROM source ORDER BY id");
    test::importListing(guide, "<tv><programme channel='new' start='20261120180000'><title>T</title></programme></tv>");
    std::vector<std::string> now = test::rows(guide, "SELECT * FROM source ORDER BY id");
    ASSERT_EQ(now.size(), sources.size() + 1);
    now.pop_back();
    EXPECT_EQ(now, sources) << "numbers of channels changed";
}

}  // namespace
}  // namespace corvaned
