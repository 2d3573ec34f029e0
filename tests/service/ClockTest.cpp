#include "Clock.h"

#include <ctime>
#include <filesystem>

#include <gtest/gtest.h>

#include "OperatorError.h"

namespace corvaned {
namespace {

constexpr Instant kNovember = 1795224600;  // 2026-11-21T01:30:00Z

TEST(Clock, UtcStringsConvertBothWays)
{
    EXPECT_EQ(formatUtc(kNovember), "2026-11-21T01:30:00Z");
    EXPECT_EQ(parseUtc("2026-11-21T01:30:00Z"), kNovember);
    EXPECT_EQ(parseUtc("1969-12-31T23:59:59Z"), -1);
    for (const char* text : {"", "2026-11-21", "2026-11-21T01:30:00", "2026-11-21T01:30:00z", "2026-11-21 01:30:00Z",
                             "2026-02-30T00:00:00Z", "2026-11-21T24:00:00Z", "2026-11-21T01:30:00Z ",
                             "+026-11-21T01:30:00Z", "2026-11-21T01:30:00+00:00"}) {
        EXPECT_FALSE(parseUtc(text)) << text;
    }
}

TEST(Clock, ReadsZonesGivenAsOffsets)
{
    const Zone zone = Zone::named("-05:30");
    EXPECT_EQ(zone.name(), "-05:30");
    EXPECT_EQ(zone.formatLocal(kNovember), "2026-11-20T20:00:00");
    EXPECT_EQ(zone.formatOffset(kNovember), "-05:30");
    EXPECT_EQ(formatUtc(zone.midnight(kNovember)), "2026-11-20T05:30:00Z");
    EXPECT_EQ(Zone::named("+00:00").formatOffset(kNovember), "+00:00");
}

TEST(Clock, ZoneByNameKnowsSummerTime)
{
    ASSERT_TRUE(std::filesystem::exists("/usr/share/zoneinfo/Europe/Berlin")) << "install the package tzdata";
    const Zone zone = Zone::named("Europe/Berlin");
    EXPECT_EQ(zone.formatOffset(kNovember), "+01:00");
    EXPECT_EQ(zone.formatLocal(kNovember), "2026-11-21T02:30:00");
    EXPECT_EQ(zone.formatOffset(*parseUtc("2026-07-01T00:00:00Z")), "+02:00");
}

TEST(Clock, ZonesAreIndependentOfEachOtherAndOfTheProcess)
{
    const auto processOffset = [] {
        const std::time_t time = kNovember;
        std::tm fields{};
        localtime_r(&time, &fields);
        return fields.tm_gmtoff;
    };
    const long before = processOffset();
    const Zone berlin = Zone::named("Europe/Berlin");
    const Zone seoul = Zone::named("Asia/Seoul");
    EXPECT_EQ(berlin.formatOffset(kNovember), "+01:00");
    EXPECT_EQ(seoul.formatOffset(kNovember), "+09:00");
    EXPECT_EQ(processOffset(), before);
}

TEST(Clock, RejectsUnknownZones)
{
    for (const char* text : {"", "Foo/Bar", "../../etc/passwd", "/etc/passwd", "+9:00", "+15:00", "+09:60", "09:00"}) {
        EXPECT_THROW(Zone::named(text), OperatorError) << text;
    }
}

}  // namespace
}  // namespace corvaned
