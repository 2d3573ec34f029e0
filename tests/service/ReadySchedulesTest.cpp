// Schedules stored as JSON must equal the guide for every window, and must follow an import.
#include "ReadySchedules.h"

#include <random>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Guide.h"
#include "Programmes.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kPlenty = 1U << 20;
const Instant kFriday = *parseUtc("2026-11-20T00:00:00Z");

// Programmes that overlap, leave gaps and last from seconds to days.
std::string crowdedListing(unsigned seed)
{
    std::mt19937 random(seed);
    std::string text =
        "<tv><channel id='a'><display-name>One</display-name><icon src='http://i/1.png'/></channel>"
        "<channel id='b'><display-name>\"Two\"</display-name></channel>";
    for (int i = 0; i < 60; ++i) {
        const Instant start = kFriday + static_cast<Instant>(random() % 2000) * 60;
        const Instant stop = start + 1 + static_cast<Instant>(random() % (i % 10 == 0 ? 90000 : 3000));
        const auto written = [](Instant instant) {
            std::string time = formatUtc(instant);
            time.erase(std::remove_if(time.begin(), time.end(), [](char c) { return c < '0' || c > '9'; }), time.end());
            return time;
        };
        text += fmt::format(
            "<programme channel='{}' start='{}' stop='{}'><title lang='en'>e{} \\ &quot;ä</title>"
            "<title lang='de'>d{}</title></programme>",
            i % 3 == 0 ? 'b' : 'a', written(start), written(stop), i, i);
    }
    return text + "</tv>";
}

std::vector<std::string> titlesIn(const Json& channel)
{
    std::vector<std::string> titles;
    for (const Json& content : channel.at("content")) {
        titles.push_back(content.at("starttime").get<std::string>() + " " + content.at("title").get<std::string>());
    }
    return titles;
}

TEST(ReadySchedules, EveryWindowHasTheProgrammesOfTheGuide)
{
    test::TestStore db;
    test::importListing(db.guide, crowdedListing(7));
    const GuideFile::Lease lease = db.guide.lease();
    ReadySchedules schedules(kPlenty);
    const std::string guide = guide::digest(*lease);
    for (const std::int64_t source : {1, 2}) {
        for (const char* lang : {"", "en", "de", "fr"}) {
            for (Instant from = kFriday - 7200; from < kFriday + 3 * kDay; from += 1750) {
                for (const Instant length : {Instant{1}, Instant{3600}, kDay / 4, 31 * kDay}) {
                    std::vector<std::string> expected;
                    guide::window(*lease, source, from, from + length, lang, [&](const guide::Programme& airing) {
                        expected.push_back(formatUtc(airing.start) + " " + std::string(airing.title));
                    });
                    std::string text;
                    ASSERT_TRUE(schedules.append(text, *lease, guide, source, lang, from, from + length));
                    ASSERT_EQ(titlesIn(Json::parse(text)), expected)
                        << "channel " << source << " from " << formatUtc(from) << " for " << length << " s in " << lang;
                }
            }
        }
    }
    std::string text;
    EXPECT_FALSE(schedules.append(text, *lease, guide, 99, "", kFriday, kFriday + 1));
    EXPECT_TRUE(schedules.append(text, *lease, guide, 1, "", -kDay / 2, 0));
    EXPECT_EQ(titlesIn(Json::parse(text)), std::vector<std::string>());
}

TEST(ReadySchedules, FollowTheGuideThatTheReaderSees)
{
    test::TestStore db;
    ReadySchedules schedules(kPlenty);
    const auto look = [&](sqlite::Connection& connection) {
        return schedules.of(connection, guide::digest(connection), 1, "en", kFriday);
    };
    const auto jsonOf = [](const ReadyDay& day) {
        std::string json = day.head();
        day.append(json, kFriday, kFriday + kDay);
        return json;
    };
    test::importListing(db.guide, crowdedListing(1));
    const GuideFile::Lease early = db.guide.lease();
    const auto first = look(*early);
    EXPECT_EQ(look(*early), first) << "written twice";

    test::importListing(db.guide, crowdedListing(2));
    const GuideFile::Lease late = db.guide.lease();
    EXPECT_NE(jsonOf(*look(*late)), jsonOf(*first));
    EXPECT_EQ(jsonOf(*look(*early)), jsonOf(*first)) << "its file is the one from before the import";
}

TEST(ReadySchedules, EvictTheDaysRequestedLongestAgo)
{
    test::TestStore db;
    test::importListing(db.guide, crowdedListing(1));
    const GuideFile::Lease lease = db.guide.lease();
    const std::string guide = guide::digest(*lease);
    const std::size_t each = ReadyDay(*lease, 1, kFriday, "en").size();
    ReadySchedules schedules(10 * (each + 400));
    std::vector<std::weak_ptr<const ReadyDay>> asked;
    for (int i = 0; i < 100; ++i) {
        asked.push_back(schedules.of(*lease, guide, 1, "l" + std::to_string(i), kFriday));
        ASSERT_FALSE(schedules.of(*lease, guide, 1, "l0", kFriday)->head().empty());
    }
    EXPECT_FALSE(asked.front().expired()) << "asked for all the time";
    EXPECT_FALSE(asked.back().expired());
    const auto kept = std::count_if(asked.begin(), asked.end(), [](const auto& one) { return !one.expired(); });
    EXPECT_GE(kept, 5);
    EXPECT_LE(kept, 10);
    for (std::int64_t unknown = 1000; unknown < 20000; ++unknown) {
        schedules.of(*lease, guide, unknown, "", kFriday);
    }
    EXPECT_TRUE(asked.front().expired()) << "channels that are not there take memory too";
}

TEST(ReadySchedules, OneThreadWritesAndTheOthersWait)
{
    test::TestStore db;
    test::importListing(db.guide, crowdedListing(1));
    ReadySchedules schedules(kPlenty);
    std::vector<std::shared_ptr<const ReadyDay>> seen(8);
    std::vector<std::thread> threads;
    for (auto& mine : seen) {
        threads.emplace_back([&db, &schedules, &mine] {
            const GuideFile::Lease lease = db.guide.lease();
            mine = schedules.of(*lease, guide::digest(*lease), 1, "en", kFriday);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), seen.front()), 8);
}

}  // namespace
}  // namespace corvaned
