// The service at boundaries of clock and calendar: local time at both changes of summer time, days of 23 and 25 hours,
// leap days, 2038, and jumps of the clock during a session.

#include <cstdlib>
#include <ctime>
#include <filesystem>

#include <gtest/gtest.h>

#include "Clock.h"
#include "Viewers.h"

namespace corvaned::test {
namespace {

struct NamedZone : ::testing::Test {
    void SetUp() override
    {
        ASSERT_TRUE(std::filesystem::exists("/usr/share/zoneinfo/Europe/Berlin")) << "install the package tzdata";
    }
    void TearDown() override { Zone::named("UTC"); }
};

TEST_F(NamedZone, LocalTimeFollowsBothChanges)
{
    const struct {
        const char* zone;
        const char* utc;
        const char* local;
        const char* offset;
    } rows[] = {
        {"Europe/Berlin", "2026-03-29T00:59:59Z", "2026-03-29T01:59:59", "+01:00"},
        {"Europe/Berlin", "2026-03-29T01:00:00Z", "2026-03-29T03:00:00", "+02:00"},
        {"Europe/Berlin", "2026-10-25T00:59:59Z", "2026-10-25T02:59:59", "+02:00"},
        {"Europe/Berlin", "2026-10-25T01:00:00Z", "2026-10-25T02:00:00", "+01:00"},
        {"America/New_York", "2026-03-08T06:59:59Z", "2026-03-08T01:59:59", "-05:00"},
        {"America/New_York", "2026-03-08T07:00:00Z", "2026-03-08T03:00:00", "-04:00"},
        {"America/New_York", "2026-11-01T06:00:00Z", "2026-11-01T01:00:00", "-05:00"},
        {"Asia/Seoul", "2028-02-28T15:00:00Z", "2028-02-29T00:00:00", "+09:00"},
        {"UTC", "2038-01-19T03:14:08Z", "2038-01-19T03:14:08", "+00:00"},
        {"Asia/Seoul", "2106-02-07T06:28:16Z", "2106-02-07T15:28:16", "+09:00"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.zone) + " " + row.utc);
        const Zone zone = Zone::named(row.zone);
        const Instant instant = parseUtc(row.utc).value();
        EXPECT_EQ(zone.formatLocal(instant), row.local);
        EXPECT_EQ(zone.formatOffset(instant), row.offset);
        EXPECT_EQ(formatUtc(instant), row.utc);
    }
}

/// A day begins at its midnight, even if summer time has changed since.
TEST_F(NamedZone, ADayBeginsAtItsMidnight)
{
    const struct {
        const char* zone;
        const char* now;
        const char* midnight;
    } rows[] = {
        {"Europe/Berlin", "2026-03-29T00:30:00Z", "2026-03-28T23:00:00Z"},
        {"Europe/Berlin", "2026-03-29T10:00:00Z", "2026-03-28T23:00:00Z"},
        {"Europe/Berlin", "2026-03-29T21:59:59Z", "2026-03-28T23:00:00Z"},
        {"Europe/Berlin", "2026-03-29T22:00:00Z", "2026-03-29T22:00:00Z"},
        {"Europe/Berlin", "2026-10-25T00:30:00Z", "2026-10-24T22:00:00Z"},
        {"Europe/Berlin", "2026-10-25T11:00:00Z", "2026-10-24T22:00:00Z"},
        {"Europe/Berlin", "2026-10-25T22:59:59Z", "2026-10-24T22:00:00Z"},
        {"Europe/Berlin", "2026-10-25T23:00:00Z", "2026-10-25T23:00:00Z"},
        {"America/New_York", "2026-03-08T20:00:00Z", "2026-03-08T05:00:00Z"},
        {"America/New_York", "2026-11-01T20:00:00Z", "2026-11-01T04:00:00Z"},
        {"UTC", "2028-02-29T23:59:59Z", "2028-02-29T00:00:00Z"},
        {"UTC", "2038-01-19T03:14:08Z", "2038-01-19T00:00:00Z"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.zone) + " " + row.now);
        const Zone zone = Zone::named(row.zone);
        EXPECT_EQ(formatUtc(zone.midnight(parseUtc(row.now).value())), row.midnight);
    }
}

constexpr char kListing[] =
    R"(<tv><channel id="a"><display-name>A</display-name></channel>
    <programme start="20281231233000 +0000" stop="20290101003000 +0000" channel="a"><title>Turn</title></programme>
    <programme start="20380119030000 +0000" stop="20380119040000 +0000" channel="a"><title>Later</title></programme></tv>)";

TEST(JumpingServiceClock, SessionsLastByTheClockAndResultsStayRight)
{
    ServiceUnderTest under("2028-12-31T23:45:00Z");
    importListing(under.guide(), kListing);
    Viewer viewer(under, "tv-1");
    const Json before = viewer.get("channel/schedule?sourceid=1&interval=1");
    // An hour back and forth neither ends a session nor changes what is on air.
    for (const char* now : {"2028-12-31T22:45:00Z", "2028-12-31T23:45:00Z"}) {
        under.setNow(now);
        viewer.get("conf/localtime");
    }
    EXPECT_EQ(viewer.get("channel/schedule?sourceid=1&interval=1"), before);
    // Ten years ahead the session has expired, and the reply says so; the next session works.
    under.setNow("2038-12-31T23:45:00Z");
    EXPECT_EQ(viewer.refusal("GET", "channel/schedule?sourceid=1&interval=1").substr(0, 3), "206");
    under.setNow("2038-01-19T03:14:08Z");
    Viewer later(under, "tv-2");
    EXPECT_NE(later.get("channel/schedule?sourceid=1&interval=1").dump().find("Later"), std::string::npos);
    // And ten years back.
    under.setNow("2018-12-31T23:45:00Z");
    viewer.get("conf/localtime");
}

}  // namespace
}  // namespace corvaned::test
