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
using ::testing::IsEmpty;

constexpr Instant kNow = 1'795'240'800;

constexpr const char* kDaysKept = "SELECT day, source_id, users FROM tuned_day WHERE users > 0 ORDER BY 1, 2";
constexpr const char* kDaysCounted =
    "SELECT at / 86400, source_id, count(DISTINCT user_id) FROM tuning GROUP BY 1, 2 ORDER BY 1, 2";
constexpr const char* kHalfHoursKept =
    "SELECT half_hour, source_id, users FROM tuned_half_hour WHERE users > 0 ORDER BY 1, 2";
constexpr const char* kHalfHoursCounted =
    "SELECT at / 1800, source_id, count(DISTINCT user_id) FROM tuning GROUP BY 1, 2 ORDER BY 1, 2";
constexpr const char* kHabitKept =
    "SELECT half_hour_of_day, source_id, users FROM tuned_habit WHERE users > 0 ORDER BY 1, 2";
constexpr const char* kHabitCounted =
    "SELECT half_hour % 48, source_id, sum(users) FROM "
    "(SELECT at / 1800 AS half_hour, source_id, count(DISTINCT user_id) AS users FROM tuning GROUP BY 1, 2) "
    "GROUP BY 1, 2 ORDER BY 1, 2";

class TuningCounts : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string listing = "<tv>";
        for (int channel = 1; channel <= 4; ++channel) {
            listing += fmt::format("<channel id='{}'><display-name>{}</display-name></channel>", channel, channel);
        }
        listing += "<programme channel='1' start='20200101000000'><title>Any</title></programme></tv>";
        test::importText(database.store, listing);
    }

    void tune(const std::string& user, std::int64_t source, Instant at)
    {
        viewer::addTuning(*database.store.lease(), user, source, 0, at);
    }

    void expectCountsOf(Store& store)
    {
        EXPECT_EQ(test::rows(store, kDaysKept), test::rows(store, kDaysCounted));
        EXPECT_EQ(test::rows(store, kHalfHoursKept), test::rows(store, kHalfHoursCounted));
        EXPECT_EQ(test::rows(store, kHabitKept), test::rows(store, kHabitCounted));
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
    EXPECT_THAT(test::rows(database.store, kDaysKept),
                ElementsAre(fmt::format("{}|1|2", day), fmt::format("{}|1|1", day + 1)));
    EXPECT_THAT(test::rows(database.store, kHabitKept), ElementsAre("0|1|3", "1|1|1", "47|1|1"));
}

TEST_F(TuningCounts, StayRightWhileTuningsComeAndGo)
{
    std::mt19937 random(7);
    const auto below = [&](std::int64_t limit) { return static_cast<std::int64_t>(random()) % limit; };
    for (int i = 0; i < 3000; ++i) {
        const std::string user = fmt::format("user{}", below(3));
        tune(user, 1 + below(4), kNow + i * 20);
        if (below(500) == 0) {
            viewer::resetHistory(*database.store.lease(), user, kNow + below(i + 1) * 20);
        }
    }
    expectCountsOf(database.store);
}

TEST_F(TuningCounts, FollowTheHistoryThatIsCutOff)
{
    // The last 2000 tunings of a user are kept; the first ones were on another channel.
    for (int i = 0; i < 10; ++i) {
        tune("ann", 2, kNow + i);
    }
    for (int i = 0; i < 2000; ++i) {
        tune("ann", 1, kNow + 10 + i);
    }
    expectCountsOf(database.store);
    EXPECT_THAT(test::rows(database.store, "SELECT source_id FROM tuned_day WHERE users > 0"), ElementsAre("1"));
}

TEST_F(TuningCounts, AreForgottenAfterFourWeeks)
{
    tune("ann", 3, kNow);
    tune("ann", 1, kNow + 29 * kDay);
    EXPECT_THAT(test::rows(database.store, "SELECT source_id FROM tuned_day"), ElementsAre("1"));
    EXPECT_THAT(test::rows(database.store, "SELECT source_id FROM tuned_half_hour"), ElementsAre("1"));
    EXPECT_THAT(test::rows(database.store, "SELECT source_id FROM tuned_habit"), ElementsAre("1"));
}

TEST_F(TuningCounts, AreNotReadAfterFourWeeksWithoutTunings)
{
    tune("ann", 3, kNow);
    const auto first = [&](Instant now) { return recommend::popularChannels(*database.store.lease(), now, 1).at(0); };
    EXPECT_EQ(first(kNow), 3);
    EXPECT_EQ(first(kNow + 27 * kDay), 3);
    EXPECT_EQ(first(kNow + 29 * kDay), 1);
}

TEST_F(TuningCounts, AreMadeForDatabasesOfEarlierVersions)
{
    for (int i = 0; i < 300; ++i) {
        tune(fmt::format("user{}", i % 7), 1 + i % 4, kNow + i * 1000);
    }
    {
        // A database of the previous version.
        const Store::Lease lease = database.store.lease();
        (*lease).execute(
            "DROP TRIGGER tuning_added; DROP TRIGGER tuning_removed; DROP TRIGGER half_hour_added;"
            "DROP TRIGGER half_hour_changed; DROP TRIGGER half_hour_removed;"
            "DROP TABLE tuned_day; DROP TABLE tuned_half_hour; DROP TABLE tuned_habit; DROP INDEX tuning_by_user;"
            "CREATE INDEX tuning_by_time ON tuning (at, source_id, user_id);"
            "ALTER TABLE channel DROP COLUMN details; ALTER TABLE channel DROP COLUMN is_number_listed;"
            "ALTER TABLE credit DROP COLUMN details; DROP TABLE airing_details; DROP TABLE fetched_listing;"
            "PRAGMA user_version = 5");
    }
    Store upgraded(database.file.path(), Store::Mode::Existing, addSamplePlaces);
    EXPECT_THAT(test::rows(upgraded, "SELECT 1 FROM tuned_habit LIMIT 1"), ElementsAre("1"));
    expectCountsOf(upgraded);
    EXPECT_THAT(test::rows(upgraded, "SELECT 1 FROM sqlite_master WHERE name = 'tuning_by_time'"), IsEmpty());
}

}  // namespace
}  // namespace corvaned
