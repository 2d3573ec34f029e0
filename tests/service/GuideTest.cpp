#include "Guide.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Programmes.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string programme(const std::string& start, const std::string& stop, const std::string& inner)
{
    return "<programme channel='a' start='20261120" + start + "' stop='20261120" + stop + "'>" + inner + "</programme>";
}

std::vector<std::string> titles(GuideFile& store, const char* from, const char* to, const char* lang = "")
{
    std::vector<std::string> result;
    guide::window(*store.lease(), 1, *parseUtc(from), *parseUtc(to), lang, [&](const guide::Programme& airing) {
        result.push_back(std::string(airing.lang) + ":" + std::string(airing.title));
    });
    return result;
}

TEST(Guide, AWindowHasTheProgrammesThatOverlapIt)
{
    test::TestStore db;
    test::importListing(db.guide, "<tv>" + programme("0000", "2359", "<title>all day</title>") +
                                      programme("1800", "1900", "<title>six</title>") +
                                      programme("1900", "2000", "<title>seven</title>") +
                                      programme("1930", "1945", "<title>within</title>") + "</tv>");
    EXPECT_THAT(titles(db.guide, "2026-11-20T18:00:00Z", "2026-11-20T19:00:00Z"), ElementsAre(":all day", ":six"));
    EXPECT_THAT(titles(db.guide, "2026-11-20T18:59:59Z", "2026-11-20T19:00:01Z"),
                ElementsAre(":all day", ":six", ":seven"));
    EXPECT_THAT(titles(db.guide, "2026-11-20T19:40:00Z", "2026-11-20T19:41:00Z"),
                ElementsAre(":all day", ":seven", ":within"));
    EXPECT_THAT(titles(db.guide, "2026-11-20T23:58:00Z", "2026-11-21T08:00:00Z"), ElementsAre(":all day"));
    EXPECT_THAT(titles(db.guide, "2026-11-20T23:59:00Z", "2026-11-21T08:00:00Z"), IsEmpty());
    EXPECT_THAT(titles(db.guide, "2026-11-19T00:00:00Z", "2026-11-20T00:00:00Z"), IsEmpty());
}

TEST(Guide, TitlesAreInTheBestLanguage)
{
    test::TestStore db;
    test::importListing(db.guide,
                        "<tv>" +
                            programme("1800", "1900",
                                      "<title lang='de'>deutsch</title><title lang='en'>english</title>"
                                      "<title lang='en_GB'>british</title><title lang='pt-BR'>brasil</title>") +
                            "</tv>");
    const struct {
        const char* wanted;
        const char* title;
    } rows[] = {
        {"", "de:deutsch"},      {"de", "de:deutsch"},   {"de-AT", "de:deutsch"},    {"fr", "de:deutsch"},
        {"en", "en:english"},    {"EN", "en:english"},   {"en-gb", "en_GB:british"}, {"en_GB", "en_GB:british"},
        {"en-US", "en:english"}, {"pt", "pt-BR:brasil"}, {"p", "de:deutsch"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(titles(db.guide, "2026-11-20T18:00:00Z", "2026-11-20T19:00:00Z", row.wanted),
                    ElementsAre(row.title))
            << row.wanted;
    }
}

TEST(Guide, AnEmptyGuideHasNoChecksum)
{
    test::TestStore db;
    EXPECT_EQ(guide::lineupChecksum(*db.guide.lease()), "");
    EXPECT_FALSE(guide::findChannel(*db.guide.lease(), 1, [](const guide::Channel&) {}));
}

}  // namespace
}  // namespace corvaned
