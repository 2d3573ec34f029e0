#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GuideImport.h"
#include "OperatorError.h"
#include "OperatorErrorOf.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using test::importListing;
using test::inputOf;
using test::rows;
using test::TestStore;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Shows times as minutes after 2026-11-20 18:00 UTC, which are easier to read.
constexpr std::string_view kSlots =
    "SELECT listing_id, (start - 1795197600) / 60, (stop - 1795197600) / 60, title FROM airing "
    "JOIN source ON source.id = source_id ORDER BY source_id, start, clump, airing.id";

std::string channel(const std::string& id)
{
    return "<channel id='" + id + "'><display-name>" + id + "</display-name></channel>";
}

std::string programme(const std::string& on, const std::string& start, const std::string& stop,
                      const std::string& title, const std::string& attributes = "")
{
    return "<programme channel='" + on + "' start='20261120" + start + "' " +
           (stop.empty() ? "" : "stop='20261120" + stop + "' ") + attributes + "><title>" + title +
           "</title></programme>";
}

TEST(Import, FillsTheGuide)
{
    TestStore db;
    const ImportReport report = importListing(db.guide, test::testData("evening.xml"));
    EXPECT_TRUE(report.changed);
    EXPECT_EQ(report.channels, 2);
    EXPECT_EQ(report.airings, 4);
    EXPECT_EQ(formatUtc(report.first), "2026-11-20T18:00:00Z");
    EXPECT_EQ(formatUtc(report.last), "2026-11-20T22:00:00Z");
    EXPECT_THAT(rows(db.guide, kSlots),
                ElementsAre("north.example|0|60|The Ferry", "north.example|60|180|Late Film",
                            "north.example|180|240|Only a second title", "south.example|60|90|South News"));
    EXPECT_THAT(rows(db.guide, "SELECT number, name, icon_url FROM channel ORDER BY position"),
                ElementsAre("7|North|https://images.example/north.png", "1|South & Sons|"));
    EXPECT_THAT(rows(db.guide, "SELECT lang, title, ep_title FROM translation"), ElementsAre("de|Die Fähre|"));
    EXPECT_THAT(rows(db.guide,
                     "SELECT title, genre.name FROM airing_genre JOIN genre ON genre.id = genre_id "
                     "JOIN airing ON airing.id = airing_id ORDER BY airing_id, place"),
                ElementsAre("The Ferry|Drama", "The Ferry|Series", "Late Film|Movie"));
}

TEST(Import, TheSameListingTwiceChangesNothing)
{
    TestStore db;
    importListing(db.guide, test::testData("evening.xml"));
    const std::string before = test::wholeGuide(db.guide);
    const std::string file = test::readFile(db.file.path());
    EXPECT_FALSE(importListing(db.guide, test::testData("evening.xml")).changed);
    EXPECT_EQ(test::wholeGuide(db.guide), before);
    EXPECT_EQ(test::readFile(db.file.path()), file);
}

TEST(Import, ALaterListingReplacesTheGuideAndKeepsChannelNumbers)
{
    TestStore db;
    importListing(db.guide, "<tv>" + channel("a") + channel("b") + programme("a", "1800", "1900", "Old") +
                                programme("b", "1800", "1900", "Same") + "</tv>");
    const std::string same = rows(db.guide, "SELECT content_id FROM airing WHERE title = 'Same'").at(0);
    const ImportReport report = importListing(
        db.guide, "<tv>" + channel("c") + channel("b") + programme("b", "2000", "2100", "Same") + "</tv>");
    EXPECT_TRUE(report.changed);
    EXPECT_THAT(rows(db.guide, kSlots), ElementsAre("b|120|180|Same"));
    EXPECT_THAT(rows(db.guide, "SELECT source_id, name FROM channel ORDER BY position"), ElementsAre("3|c", "2|b"));
    EXPECT_THAT(rows(db.guide, "SELECT content_id FROM airing"), ElementsAre(same));
    importListing(db.guide, "<tv>" + channel("a") + programme("a", "1800", "1900", "New") + "</tv>");
    EXPECT_THAT(rows(db.guide, "SELECT source_id, name FROM channel"), ElementsAre("1|a"));
}

TEST(Import, ContentIdsAreTheSameOnEveryMachine)
{
    // The first eight bytes of the SHA-1 of "EP00000001", lowest first and halved; from sha1sum.
    test::TestStore db;
    importListing(db.guide,
                  "<tv><programme channel='1' start='20261120200000 +0000'><title>A</title>"
                  "<episode-num system='dd_progid'>EP00000001</episode-num></programme></tv>");
    EXPECT_THAT(rows(db.guide, "SELECT content_id FROM airing"), ElementsAre("7865046424916916355"));
}

TEST(Import, ARefusedListingChangesNothing)
{
    TestStore db;
    importListing(db.guide, test::testData("evening.xml"));
    const std::string before = test::wholeGuide(db.guide);
    const std::string good = "<tv>" + channel("x") + programme("x", "1800", "1900", "New") + "</tv>";
    for (const std::string& bad :
         {std::string("<tv>") + programme("x", "1800", "", "T") + "<oops>", std::string("<html/>"), std::string(),
          std::string("<tv/>"), std::string("<tv><programme/></tv>"), "<tv>" + channel("x") + "</tv>"}) {
        EXPECT_THROW(importListing(db.guide, bad), OperatorError) << bad;
    }
    EXPECT_THROW(test::importListings(db.guide, {inputOf(good), inputOf("<tv><oops></tv>", "second")}, {}),
                 OperatorError);
    EXPECT_EQ(test::wholeGuide(db.guide), before);
}

TEST(Import, SeveralListingsAreOneGuide)
{
    TestStore db;
    const ImportReport report = test::importListings(
        db.guide,
        {inputOf("<tv>" + channel("a") + programme("a", "1800", "1900", "One") + "</tv>", "first"),
         inputOf("<tv><channel id='a'><display-name>Other</display-name></channel>" + channel("b") +
                     programme("a", "1800", "1930", "One") + programme("b", "1800", "1900", "Two") + "</tv>",
                 "second")},
        {});
    EXPECT_THAT(rows(db.guide, kSlots), ElementsAre("a|0|60|One", "b|0|60|Two"));
    EXPECT_THAT(rows(db.guide, "SELECT name FROM channel ORDER BY position"), ElementsAre("a", "b"));
    ASSERT_EQ(report.listings.size(), 2U);
    EXPECT_EQ(report.listings[1].programmes, 2);
    EXPECT_EQ(report.listings[1].repeated, 1);
}

TEST(Import, MissingStopsAreTheNextStart)
{
    TestStore db;
    importListing(db.guide, "<tv>" + channel("a") + channel("b") + programme("a", "2000", "", "Third") +
                                programme("a", "1800", "", "First") + programme("b", "1810", "", "Elsewhere") +
                                programme("a", "1830", "", "Second") + "</tv>");
    EXPECT_THAT(rows(db.guide, kSlots),
                ElementsAre("a|0|30|First", "a|30|120|Second", "a|120|150|Third", "b|10|40|Elsewhere"));
    importListing(db.guide, "<tv>" + channel("a") + programme("a", "0000", "", "Gap after") +
                                programme("a", "1800", "", "Much later") + "</tv>");
    EXPECT_THAT(rows(db.guide, kSlots), ElementsAre("a|-1080|-1050|Gap after", "a|0|30|Much later"));
}

TEST(Import, ProgrammesThatShareASlotStayInOrderAndRepeatsAreDropped)
{
    TestStore db;
    const ImportReport report =
        importListing(db.guide, "<tv>" + channel("a") + programme("a", "1800", "1900", "Weather", "clumpidx='1/2'") +
                                    programme("a", "1800", "1900", "News", "clumpidx='0/2'") +
                                    programme("a", "1800", "1830", "News") + "</tv>");
    EXPECT_THAT(rows(db.guide, kSlots), ElementsAre("a|0|60|News", "a|0|60|Weather"));
    EXPECT_EQ(report.listings[0].programmes, 3);
    EXPECT_EQ(report.listings[0].repeated, 1);
}

TEST(Import, ChannelsThatOnlyProgrammesNameJoinTheLineUp)
{
    TestStore db;
    importListing(db.guide, "<tv>" + programme("late.example", "1800", "1900", "T") + channel("a") +
                                "<channel id='late.example'><display-name>Late</display-name><lcn>12</lcn></channel>" +
                                programme("only.example", "1800", "1900", "T") + "</tv>");
    EXPECT_THAT(rows(db.guide, "SELECT number, name FROM channel ORDER BY position"),
                ElementsAre("12|Late", "1|a", "2|only.example"));
}

TEST(Import, AssignedNumbersAvoidUsedOnes)
{
    TestStore db;
    importListing(db.guide,
                  "<tv><channel id='a'><display-name>A</display-name></channel>"
                  "<channel id='b'><display-name>B</display-name><lcn>1</lcn></channel>"
                  "<channel id='c'><display-name>2</display-name><display-name>Two</display-name></channel>"
                  "<channel id='d'><display-name>D</display-name></channel>" +
                      programme("a", "1800", "1900", "T") + "</tv>");
    EXPECT_THAT(rows(db.guide, "SELECT number, name FROM channel ORDER BY position"),
                ElementsAre("1|B", "2|Two", "3|A", "4|D"));
}

TEST(Import, SkippedRecordsAreReportedOnceAndCounted)
{
    TestStore db;
    std::vector<std::string> warnings;
    ImportOptions options;
    options.warn = [&](const std::string& line) { warnings.push_back(line); };
    std::string broken;
    for (int i = 0; i < 25; ++i) {
        broken += "<programme channel='a'><title>T</title></programme>\n";
    }
    const ImportReport report = importListing(
        db.guide, "<tv>" + channel("a") + "\n" + broken + programme("a", "1800", "1900", "Good") + "</tv>", options);
    EXPECT_EQ(report.listings[0].skipped, 25);
    ASSERT_EQ(warnings.size(), 21U);
    EXPECT_EQ(warnings.front(), "listing:2: skipped: the programme has no start");
    EXPECT_EQ(warnings.back(), "listing: 5 more like these");
}

TEST(Import, TheLineUpsChecksumChangesWithTheLineUpOnly)
{
    TestStore db;
    const auto checksum = [&] { return rows(db.guide, "SELECT value FROM guide WHERE name = 'lineup'").at(0); };
    importListing(db.guide, "<tv>" + channel("a") + programme("a", "1800", "1900", "T") + "</tv>");
    const std::string first = checksum();
    importListing(db.guide, "<tv>" + channel("a") + programme("a", "1800", "1900", "U") + "</tv>");
    EXPECT_EQ(checksum(), first);
    importListing(db.guide, "<tv>" + channel("a") + channel("b") + programme("a", "1800", "1900", "U") + "</tv>");
    EXPECT_NE(checksum(), first);
}

struct MoveRow {
    const char* what;
    const char* first;
    const char* middle;
    const char* last;
    std::int64_t days;
};

TEST(Import, AListingThatDoesNotCoverNowMovesSoThatItDoes)
{
    const Instant now = *parseUtc("2026-11-21T20:00:00Z");  // a Saturday
    const Shifts shifts = movedToToday(now, Zone::named("+00:00"));
    const MoveRow rows[] = {
        {"ten days: by weeks, to the middle", "2021-01-16T11:00:00Z", "2021-01-21T01:50:00Z", "2021-01-25T22:00:00Z",
         2128},
        {"seven days", "2024-01-01T00:00:00Z", "2024-01-04T12:00:00Z", "2024-01-08T00:00:00Z", 1050},
        {"a Saturday", "2021-03-13T00:00:00Z", "2021-03-13T11:30:00Z", "2021-03-14T00:25:00Z", 2079},
        {"a Wednesday: by days", "2021-03-10T06:00:00Z", "2021-03-10T14:00:00Z", "2021-03-10T23:00:00Z", 2082},
        {"a morning: the nearest", "2021-03-13T06:00:00Z", "2021-03-13T08:30:00Z", "2021-03-13T11:00:00Z", 2079},
        {"two days, from noon: now is in the second", "2026-11-01T12:00:00Z", "2026-11-02T14:00:00Z",
         "2026-11-03T12:00:00Z", 19},
        {"two weeks that begin with nearly all", "2026-11-01T00:00:00Z", "2026-11-01T10:00:00Z", "2026-11-15T00:00:00Z",
         14},
        {"ends in an hour: it is current", "2026-11-20T00:00:00Z", "2026-11-20T12:00:00Z", "2026-11-21T21:00:00Z", 0},
        {"of the future", "2026-12-01T00:00:00Z", "2026-12-01T12:00:00Z", "2026-12-02T00:00:00Z", -10},
        {"ended an hour ago", "2026-11-14T00:00:00Z", "2026-11-17T21:30:00Z", "2026-11-21T19:00:00Z", 7},
    };
    for (const MoveRow& row : rows) {
        const ListedSpan span{*parseUtc(row.first), *parseUtc(row.last), [&] { return *parseUtc(row.middle); }};
        ASSERT_THAT(shifts(span), ElementsAre(row.days * 86400)) << row.what;
    }
}

TEST(Import, MovedProgrammesKeepTheirTimeOfDayAcrossAClockChange)
{
    // Berlin is two hours east of UTC in July and one in November.
    const Shifts shifts = movedToToday(*parseUtc("2026-11-21T20:00:00Z"), Zone::named("Europe/Berlin"));
    const ListedSpan span{*parseUtc("2026-07-01T00:00:00Z"), *parseUtc("2026-07-15T00:00:00Z"),
                          [] { return *parseUtc("2026-07-08T00:00:00Z"); }};
    EXPECT_THAT(shifts(span), ElementsAre(20 * 7 * 86400 + 3600));
}

std::string onDay(std::string listing, const std::string& day)
{
    for (std::size_t at = 0; (at = listing.find("20261120", at)) != std::string::npos; ++at) {
        listing.replace(at, day.size(), day);
    }
    return listing;
}

TEST(Import, ListingsMoveTogetherIfTheyShareAChannel)
{
    const std::string north = "<tv>" + channel("n") + programme("n", "1800", "1900", "N") + "</tv>";
    const std::string south = "<tv>" + channel("s") + programme("s", "1800", "1900", "S") + "</tv>";
    const std::string next = onDay("<tv>" + programme("n", "1800", "1900", "Next day") + "</tv>", "20261121");
    ImportOptions options;
    options.shifts = movedToToday(*parseUtc("2026-12-05T18:30:00Z"), Zone::named("+00:00"));
    TestStore db;
    const ImportReport report = test::importListings(
        db.guide, {inputOf(north, "north"), inputOf(onDay(south, "20251201"), "south"), inputOf(next, "next")},
        options);
    EXPECT_THAT(rows(db.guide, "SELECT title, datetime(start, 'unixepoch') FROM airing ORDER BY id"),
                ElementsAre("N|2026-12-04 18:00:00", "S|2026-12-05 18:00:00", "Next day|2026-12-05 18:00:00"));
    ASSERT_EQ(report.listings.size(), 3U);
    EXPECT_EQ(report.listings[0].shift, 14 * 86400);
    EXPECT_EQ(report.listings[1].shift, 369 * 86400);
    EXPECT_EQ(report.listings[2].shift, 14 * 86400);
    EXPECT_EQ(formatUtc(report.listings[1].first), "2026-12-05T18:00:00Z");
    EXPECT_EQ(formatUtc(report.listings[1].last), "2026-12-05T19:00:00Z");
    EXPECT_EQ(formatUtc(report.first), "2026-12-04T18:00:00Z");
}

TEST(Import, AWeeklyProgrammeMovesByAWeek)
{
    TestStore db;
    const auto news = [](const std::string& day) {
        return "<programme channel='a' start='" + day + "1800' stop='" + day + "1900'><title>News</title></programme>";
    };
    ImportOptions options;
    options.shifts = movedToToday(*parseUtc("2026-12-04T18:30:00Z"), Zone::named("+00:00"));
    const std::string weeks = news("20261120") + news("20261127");
    EXPECT_EQ(importListing(db.guide, "<tv>" + weeks + "</tv>", options).listings[0].shift, 7 * 86400);
    EXPECT_THAT(rows(db.guide, kSlots), ElementsAre("a|10080|10140|News", "a|20160|20220|News"));
}

TEST(Import, MovingIsRepeatable)
{
    TestStore db;
    ImportOptions options;
    options.shifts = movedToToday(*parseUtc("2026-12-05T12:00:00Z"), Zone::named("+00:00"));
    EXPECT_EQ(importListing(db.guide, test::testData("evening.xml"), options).listings[0].shift, 15 * 86400);
    options.shifts = movedToToday(*parseUtc("2026-12-05T23:00:00Z"), Zone::named("+00:00"));
    EXPECT_FALSE(importListing(db.guide, test::testData("evening.xml"), options).changed);
    options.shifts = movedToToday(*parseUtc("2026-12-06T12:00:00Z"), Zone::named("+00:00"));
    EXPECT_TRUE(importListing(db.guide, test::testData("evening.xml"), options).changed);
}

ImportOptions merging()
{
    ImportOptions options;
    options.isMerge = true;
    return options;
}

TEST(Import, AMergeAddsAndTheNewListingWins)
{
    TestStore db;
    importListing(db.guide, "<tv>" + channel("a") + channel("b") + programme("a", "1800", "1900", "Before") +
                                programme("a", "1900", "2000", "Cut at its end") +
                                programme("a", "2000", "2100", "Covered") + programme("a", "2100", "2200", "After") +
                                programme("b", "1800", "2200", "Elsewhere") + "</tv>");
    const ImportReport report = importListing(db.guide,
                                              "<tv>" + channel("c") + programme("a", "1930", "2100", "New") +
                                                  programme("c", "1800", "1900", "Added") + "</tv>",
                                              merging());
    EXPECT_TRUE(report.changed);
    EXPECT_EQ(report.channels, 3);
    EXPECT_EQ(report.airings, 5);
    EXPECT_THAT(rows(db.guide, kSlots),
                ElementsAre("a|0|60|Before", "a|90|180|New", "a|180|240|After", "b|0|240|Elsewhere", "c|0|60|Added"));
    EXPECT_THAT(rows(db.guide, "SELECT number, name FROM channel ORDER BY position"), ElementsAre("1|a", "2|b", "3|c"));
    EXPECT_THAT(rows(db.guide, "SELECT count(*) FROM search WHERE search MATCH 'Elsewhere'"), ElementsAre("1"));
    EXPECT_THAT(rows(db.guide, "SELECT count(*) FROM search WHERE search MATCH 'Covered'"), ElementsAre("0"));
}

TEST(Import, AMergeKeepsTheDetailsOfKeptProgrammes)
{
    TestStore db;
    importListing(db.guide, test::testData("evening.xml"));
    const std::vector<std::string_view> tables = {
        "SELECT listing_id, number, name, icon_url, details FROM channel JOIN source ON source.id = source_id "
        "WHERE listing_id <> 'c' ORDER BY 1",
        "SELECT source_id, start, stop, content_id, title, type, rating FROM airing WHERE title <> 'Added' ORDER BY 1, "
        "2",
        "SELECT start, translation.lang, translation.title FROM translation JOIN airing ON airing.id = airing_id",
        "SELECT start, place, name FROM airing_genre JOIN genre ON genre.id = genre_id JOIN airing ON airing.id = "
        "airing_id ORDER BY 1, 2",
        "SELECT start, genre_lang, details FROM airing_details JOIN airing ON airing.id = airing_id ORDER BY 1",
        "SELECT content_id, place, person_id, job, role, details FROM credit"};
    std::vector<std::vector<std::string>> before;
    for (const std::string_view table : tables) {
        before.push_back(rows(db.guide, table));
        EXPECT_FALSE(before.back().empty()) << table;
    }
    importListing(db.guide, "<tv>" + programme("c", "1800", "1900", "Added") + "</tv>", merging());
    for (std::size_t i = 0; i < tables.size(); ++i) {
        EXPECT_EQ(rows(db.guide, tables[i]), before[i]) << tables[i];
    }
    const std::string merged = test::wholeGuide(db.guide);
    EXPECT_FALSE(
        importListing(db.guide, "<tv>" + programme("c", "1800", "1900", "Added") + "</tv>", merging()).changed);
    EXPECT_EQ(test::wholeGuide(db.guide), merged);
}

TEST(Import, AMergeIntoAnEmptyDatabaseIsAnImport)
{
    TestStore merged;
    TestStore plain;
    importListing(merged.guide, test::testData("evening.xml"), merging());
    importListing(plain.guide, test::testData("evening.xml"));
    constexpr std::string_view kAirings = "SELECT * FROM airing ORDER BY id";
    EXPECT_EQ(rows(merged.guide, kAirings), rows(plain.guide, kAirings));
}

TEST(Import, ReportsEmptyListings)
{
    TestStore db;
    const auto refusal = [&](const std::string& listing) {
        return test::operatorErrorOf([&] { importListing(db.guide, listing); });
    };
    EXPECT_EQ(refusal("<tv/>"), "the listings contain neither channels nor programmes; the guide is unchanged");
    EXPECT_EQ(refusal("<tv>" + channel("a") + "</tv>"),
              "the listings contain channels but no programmes; the guide is unchanged");
    EXPECT_EQ(refusal("<tv>" + channel("a") + "<programme channel='a'/></tv>"),
              "no programme in the listings can be used; the guide is unchanged");
}

}  // namespace
}  // namespace corvaned
