// Compares the counts that triggers keep with a count of the tunings themselves.
#include <random>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Recommend.h"
#include "TestSupport.h"
#include "Viewer.h"

namespace corvaned {
namespace {

using ::testing::ElementsAre;

constexpr Instant kNow = 1'795'240'800;

constexpr const char* kDaysKept =
    "SELECT day || '|' || source_id || '|' || users AS value FROM tuned_day WHERE users > 0 ORDER BY day, source_id";
constexpr const char* kDaysCounted =
    "SELECT (at / 86400) || '|' || source_id || '|' || count(DISTINCT user_id) AS value FROM tuning "
    "GROUP BY at / 86400, source_id ORDER BY at / 86400, source_id";
constexpr const char* kHalfHoursKept =
    "SELECT half_hour || '|' || source_id || '|' || users AS value FROM tuned_half_hour WHERE users > 0 "
    "ORDER BY half_hour, source_id";
constexpr const char* kHalfHoursCounted =
    "SELECT (at / 1800) || '|' || source_id || '|' || count(DISTINCT user_id) AS value FROM tuning "
    "GROUP BY at / 1800, source_id ORDER BY at / 1800, source_id";
constexpr const char* kHabitKept =
    "SELECT half_hour_of_day || '|' || source_id || '|' || users AS value FROM tuned_habit WHERE users > 0 "
    "ORDER BY half_hour_of_day, source_id";
constexpr const char* kHabitCounted =
    "SELECT (half_hour % 48) || '|' || source_id || '|' || sum(users) AS value FROM "
    "(SELECT at / 1800 AS half_hour, source_id, count(DISTINCT user_id) AS users FROM tuning "
    "GROUP BY at / 1800, source_id) AS counted GROUP BY half_hour % 48, source_id ORDER BY half_hour % 48, source_id";

class TuningCounts : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string listing = "<tv>";
        for (int channel = 1; channel <= 4; ++channel) {
            listing += fmt::format("<channel id='{}'><display-name>{}</display-name></channel>", channel, channel);
        }
        listing += "<programme channel='1' start='20200101000000'><title>Any</title></programme></tv>";
        test::importListing(database.guide, listing);
    }

    void tune(const std::string& user, std::int64_t source, Instant at)
    {
        viewer::addTuning(*database.viewers, *database.guide.lease(), user, source, 0, at);
    }

    static void expectCountsOf(ViewerStore& viewers)
    {
        EXPECT_EQ(test::values(viewers, kDaysKept), test::values(viewers, kDaysCounted));
        EXPECT_EQ(test::values(viewers, kHalfHoursKept), test::values(viewers, kHalfHoursCounted));
        EXPECT_EQ(test::values(viewers, kHabitKept), test::values(viewers, kHabitCounted));
    }

    test::TestStore database;
};

TEST_F(TuningCounts, AUserCountsOncePerDayAndHalfHour)
{
    const Instant midnight = kNow / kDay * kDay;
    for (const Instant second : {0, 60, 1799, 1800, 86399, 86400}) {
        tune("ann", 1, midnight + second);
    }
    tune("bob", 1, midnight + 61);
    const std::int64_t day = midnight / kDay;
    EXPECT_THAT(test::values(*database.viewers, kDaysKept),
                ElementsAre(fmt::format("{}|1|2", day), fmt::format("{}|1|1", day + 1)));
    EXPECT_THAT(test::values(*database.viewers, kHabitKept), ElementsAre("0|1|3", "1|1|1", "47|1|1"));
}

TEST_F(TuningCounts, StayRightWhileTuningsComeAndGo)
{
    std::mt19937 random(7);
    const auto below = [&](std::int64_t limit) { return static_cast<std::int64_t>(random()) % limit; };
    for (int i = 0; i < 3000; ++i) {
        const std::string user = fmt::format("user{}", below(3));
        tune(user, 1 + below(4), kNow + i * 20);
        if (below(500) == 0) {
            viewer::resetHistory(*database.viewers, user, kNow + below(i + 1) * 20);
        }
    }
    expectCountsOf(*database.viewers);
}

TEST_F(TuningCounts, FollowTheHistoryWhenItIsTrimmed)
{
    // The last 2000 tunings of a user are kept; the first ones were on another channel.
    for (int i = 0; i < 10; ++i) {
        tune("ann", 2, kNow + i);
    }
    for (int i = 0; i < 2000; ++i) {
        tune("ann", 1, kNow + 10 + i);
    }
    expectCountsOf(*database.viewers);
    EXPECT_THAT(test::values(*database.viewers, "SELECT source_id AS value FROM tuned_day WHERE users > 0"),
                ElementsAre("1"));
}

TEST_F(TuningCounts, AreForgottenAfterFourWeeks)
{
    tune("ann", 3, kNow);
    tune("ann", 1, kNow + 29 * kDay);
    EXPECT_THAT(test::values(*database.viewers, "SELECT source_id AS value FROM tuned_day"), ElementsAre("1"));
    EXPECT_THAT(test::values(*database.viewers, "SELECT source_id AS value FROM tuned_half_hour"), ElementsAre("1"));
    EXPECT_THAT(test::values(*database.viewers, "SELECT source_id AS value FROM tuned_habit"), ElementsAre("1"));
}

TEST_F(TuningCounts, AreNotReadAfterFourWeeksWithoutTunings)
{
    tune("ann", 3, kNow);
    const auto first = [&](Instant now) {
        return recommend::popularChannels(*database.viewers, *database.guide.lease(), now, 1).at(0);
    };
    EXPECT_EQ(first(kNow), 3);
    EXPECT_EQ(first(kNow + 27 * kDay), 3);
    EXPECT_EQ(first(kNow + 29 * kDay), 1);
}

}  // namespace
}  // namespace corvaned
