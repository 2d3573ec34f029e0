#include "TodayFiles.h"

#include <gtest/gtest.h>

namespace corvaned {
namespace {

std::string windowOf(const char* name, const Zone& zone)
{
    const auto [from, to] = TodayFile::parse(name).value().window(zone);
    return formatUtc(from) + " " + formatUtc(to);
}

TEST(TodayFiles, NamesHaveDayWindowAndLanguage)
{
    const std::vector<TodayFile> files = todayFiles(Zone::named("+09:00"), *parseUtc("2026-11-20T15:00:00Z"), "en_GB");
    ASSERT_EQ(files.size(), 4U);
    EXPECT_EQ(files[0].name(), "schedule-20261121-0-6-en_GB.json");
    EXPECT_EQ(files[3].name(), "schedule-20261121-18-24-en_GB.json");
    EXPECT_EQ(todayFiles(Zone::named("+09:00"), 0, "../x")[0].name(), "schedule-19700101-0-6.json");
    EXPECT_EQ(TodayFile::parse("schedule-20261121-18-24-en-GB.json").value().lang, "en-GB");
}

TEST(TodayFiles, OtherNamesAreRefused)
{
    for (const char* name : {"", ".json", "schedule-.json", "schedule-20261121-0-6", "schedule-20261121-0-7.json",
                             "schedule-20261121-24-30.json", "schedule-20261121--6-0.json",
                             "schedule-20260230-0-6.json", "schedule-20261121-0-6-../x.json",
                             "schedule-99999999999-0-6.json", "schedule-20261121-0.json", "today-20261121-0-6.json"}) {
        EXPECT_FALSE(TodayFile::parse(name)) << name;
    }
}

TEST(TodayFiles, WindowsFollowTheWallClock)
{
    EXPECT_EQ(windowOf("schedule-20261121-0-6.json", Zone::named("+09:00")),
              "2026-11-20T15:00:00Z 2026-11-20T21:00:00Z");
    EXPECT_EQ(windowOf("schedule-20261121-18-24.json", Zone::named("-05:00")),
              "2026-11-21T23:00:00Z 2026-11-22T05:00:00Z");
}

TEST(TodayFiles, WindowsMeetWhenTheClockChanges)
{
    const Zone berlin = Zone::named("Europe/Berlin");
    EXPECT_EQ(windowOf("schedule-20260329-0-6.json", berlin), "2026-03-28T23:00:00Z 2026-03-29T04:00:00Z");
    EXPECT_EQ(windowOf("schedule-20260329-18-24.json", berlin), "2026-03-29T16:00:00Z 2026-03-29T22:00:00Z");
    EXPECT_EQ(windowOf("schedule-20261025-0-6.json", berlin), "2026-10-24T22:00:00Z 2026-10-25T05:00:00Z");
}

}  // namespace
}  // namespace corvaned
