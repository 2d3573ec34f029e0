// Date-time strings read and written, as rows, with their instants and offsets.
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "WDateTime.h"

namespace W {
namespace {

constexpr auto kDateTime = WDateTime::FORMAT_DATETIME;
constexpr auto kLocal = WDateTime::FORMAT_LOCAL;
constexpr auto kOffset = WDateTime::FORMAT_OFFSET;
constexpr auto kUtc = WDateTime::TIMEZONE_UTC;
constexpr auto kLocalZone = WDateTime::TIMEZONE_LOCAL;
constexpr auto kNoZone = WDateTime::TIMEZONE_NONE;

TEST(DateTime, StringsAndInstantsConvertBothWays)
{
    const struct {
        const char* text;
        std::int64_t seconds;
    } rows[] = {
        {"1970-01-01T00:00:00Z", 0},
        {"1969-12-31T23:59:59Z", -1},
        {"2026-11-21T01:30:00Z", 1795224600},
        {"2038-01-19T03:14:07Z", 2147483647},
        {"2038-01-19T03:14:08Z", 2147483648},
        {"2106-02-07T06:28:16Z", 4294967296},
        {"2000-02-29T12:00:00Z", 951825600},
        {"2024-02-29T00:00:00Z", 1709164800},
        {"1900-03-01T00:00:00Z", -2203891200},
        {"0000-01-01T00:00:00Z", -62167219200},
        {"0000-02-29T00:00:00Z", -62162121600},
        {"9999-12-31T23:59:59Z", 253402300799},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const WDateTime read = WDateTime::fromString(row.text, kDateTime, kUtc);
        EXPECT_TRUE(read.isValid());
        EXPECT_TRUE(read.hasInstant());
        EXPECT_EQ(read.toTime_t(), row.seconds);
        EXPECT_TRUE(read.getOffsetTime().isValid());
        EXPECT_EQ(read.offsetSeconds(), 0);
        EXPECT_EQ(WDateTime::fromTime_t(row.seconds).toString(), row.text);
    }
}

TEST(DateTime, EveryDayOfFourHundredYearsConvertsBack)
{
    // A second before and after each midnight of one whole era of the calendar.
    constexpr std::int64_t kDay = 86400;
    for (std::int64_t day = -11000; day < 147000 - 11000; ++day) {
        for (const std::int64_t second : {day * kDay - 1, day * kDay + 1}) {
            const std::string text = WDateTime::fromTime_t(second).toString();
            ASSERT_EQ(WDateTime::fromString(text, kDateTime, kUtc).toTime_t(), second) << text;
        }
    }
}

TEST(DateTime, ImpossibleTimesAreInvalid)
{
    const char* const rows[] = {
        "",
        "2026-11-21",
        "2026-11-21T01:30:00",
        "2026-11-21 01:30:00Z",
        "2026-11-21t01:30:00Z",
        "2026-11-21T01:30:00z",
        "2026-11-21T01:30:00Z ",
        " 2026-11-21T01:30:00Z",
        "2026-11-21T01:30:00.5Z",
        "2026-11-21T01:30:00+00:00",
        "2026-11-21T1:30:00Z",
        "+026-11-21T01:30:00Z",
        "2026-00-21T01:30:00Z",
        "2026-13-21T01:30:00Z",
        "2026-11-00T01:30:00Z",
        "2026-11-31T01:30:00Z",
        "2026-02-29T01:30:00Z",
        "1900-02-29T01:30:00Z",
        "2026-11-21T24:00:00Z",
        "2026-11-21T23:60:00Z",
        "2016-12-31T23:59:60Z",
        "12026-11-21T01:30:00Z",
    };
    for (const char* row : rows) {
        SCOPED_TRACE(row);
        const WDateTime read = WDateTime::fromString(row, kDateTime, kUtc);
        EXPECT_FALSE(read.isValid());
        EXPECT_FALSE(read.hasInstant());
        EXPECT_EQ(read.toString(), "");
    }
    using namespace std::string_literals;
    EXPECT_FALSE(WDateTime::fromString("2026-11-21T01:30:00Z\0"s, kDateTime, kUtc).isValid());
}

TEST(DateTime, LocalStringsHoldAnInstantWithoutAnOffset)
{
    const WDateTime local = WDateTime::fromString("2026-11-21T10:30:00", kLocal, kLocalZone);
    EXPECT_TRUE(local.hasInstant());
    EXPECT_EQ(local.toString(), "2026-11-21T10:30:00Z");
    EXPECT_FALSE(local.getOffsetTime().isValid());
    EXPECT_FALSE(WDateTime::fromString("2026-11-21T10:30:00Z", kLocal, kLocalZone).isValid());
}

TEST(DateTime, OffsetStringsHoldNoInstant)
{
    const struct {
        const char* text;
        int sign;
        int hour;
        int minute;
        int seconds;
    } rows[] = {
        {"+09:00", 1, 9, 0, 32400},    {"-05:30", -1, 5, 30, -19800}, {"+05:45", 1, 5, 45, 20700},
        {"+00:00", 1, 0, 0, 0},        {"-00:00", 1, 0, 0, 0},        {"+14:00", 1, 14, 0, 50400},
        {"-12:00", -1, 12, 0, -43200}, {"-00:30", -1, 0, 30, -1800},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const WDateTime read = WDateTime::fromString(row.text, kOffset, kNoZone);
        EXPECT_TRUE(read.isValid());
        EXPECT_FALSE(read.hasInstant());
        EXPECT_EQ(read.toString(), "");
        EXPECT_EQ(read.getOffsetSign(), row.sign);
        EXPECT_TRUE(read.getOffsetTime().isValid());
        EXPECT_EQ(read.getOffsetTime().getHour(), row.hour);
        EXPECT_EQ(read.getOffsetTime().getMinute(), row.minute);
        EXPECT_EQ(read.offsetSeconds(), row.seconds);
    }
    for (const char* text : {"", "09:00", "+9:00", "+0900", "+09:60", "+24:00", "+09:00Z", " +09:00", "+09-00", "Z"}) {
        EXPECT_FALSE(WDateTime::fromString(text, kOffset, kNoZone).isValid()) << text;
    }
}

TEST(DateTime, FormsRequireTheirZone)
{
    EXPECT_FALSE(WDateTime::fromString("2026-11-21T01:30:00Z", kDateTime, kLocalZone).isValid());
    EXPECT_FALSE(WDateTime::fromString("2026-11-21T01:30:00", kLocal, kUtc).isValid());
    EXPECT_FALSE(WDateTime::fromString("+09:00", kOffset, kUtc).isValid());
}

TEST(DateTime, OffsetsNeverMoveTheInstant)
{
    WDateTime time = WDateTime::fromString("2026-11-21T01:30:00Z", kDateTime, kUtc);
    time.setOffset(-1, WTime(5, 30));
    EXPECT_EQ(time.toTime_t(), 1795224600);
    EXPECT_EQ(time.toString(), "2026-11-21T01:30:00Z");
    EXPECT_EQ(time.offsetSeconds(), -19800);
    time.toUTC();
    EXPECT_EQ(time.toTime_t(), 1795224600);
    EXPECT_EQ(time.offsetSeconds(), 0);
    EXPECT_TRUE(time.getOffsetTime().isValid());
    time.setOffset(1, WTime());
    EXPECT_FALSE(time.getOffsetTime().isValid());
    EXPECT_TRUE(time.hasInstant());
}

TEST(DateTime, InstantsOutsideTheCalendarAreInvalid)
{
    for (const std::int64_t seconds :
         {std::int64_t{-62167219201}, std::int64_t{253402300800}, std::numeric_limits<std::int64_t>::min(),
          std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_FALSE(WDateTime::fromTime_t(seconds).isValid()) << seconds;
        EXPECT_EQ(WDateTime::fromTime_t(seconds).toTime_t(), 0) << seconds;
    }
    EXPECT_FALSE(WDateTime().isValid());
}

}  // namespace
}  // namespace W
