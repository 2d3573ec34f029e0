#include "Sample.h"

#include <gtest/gtest.h>

#include "Guide.h"
#include "Programmes.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

TEST(Sample, IsAListingOfOneDayWithoutFaults)
{
    const test::Collected collected = test::collect(std::string(sampleListing()));
    EXPECT_EQ(collected.channels.size(), 10U);
    EXPECT_GT(collected.programmes.size(), 200U);
    EXPECT_TRUE(collected.skipped.empty()) << collected.skipped.front();
    for (const ListingProgramme& programme : collected.programmes) {
        EXPECT_GE(formatUtc(programme.start), "2000-01-01T00:00:00Z");
        ASSERT_TRUE(programme.stop) << programme.strings.front().title;
        EXPECT_LE(formatUtc(*programme.stop), "2000-01-02T00:00:00Z");
    }
}

TEST(Sample, EveryChannelHasAProgrammeAtAnyTime)
{
    for (const char* zoneName : {"+00:00", "+09:00", "-05:30"}) {
        test::TestStore db;
        const Zone zone = Zone::named(zoneName);
        const Instant now = *parseUtc("2026-11-21T23:30:00Z");
        test::importSampleInto(db.guide, now, zone);
        const GuideFile::Lease lease = db.guide.lease();
        for (std::int64_t source = 1; source <= 10; ++source) {
            for (Instant moment = now - kDay; moment < now + 7 * kDay; moment += kDay / 5) {
                int on = 0;
                guide::window(*lease, source, moment, moment + 3600, "", [&](const guide::Programme&) { ++on; });
                EXPECT_GE(on, 1) << zoneName << " channel " << source << " at " << formatUtc(moment);
            }
        }
    }
}

TEST(Sample, ChangesOncePerDay)
{
    test::TestStore db;
    const Zone zone = Zone::named("+09:00");
    test::importSampleInto(db.guide, *parseUtc("2026-11-21T15:00:00Z"), zone);
    const auto digest = [&] { return test::rows(db.guide, "SELECT value FROM guide WHERE name = 'digest'").at(0); };
    const std::string first = digest();
    test::importSampleInto(db.guide, *parseUtc("2026-11-22T14:59:59Z"), zone);
    EXPECT_EQ(digest(), first);
    test::importSampleInto(db.guide, *parseUtc("2026-11-22T15:00:00Z"), zone);
    EXPECT_NE(digest(), first);
}

}  // namespace
}  // namespace corvaned
