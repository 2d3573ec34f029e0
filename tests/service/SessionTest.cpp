#include "Session.h"

#include <filesystem>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Digest.h"
#include "PrivatePostgres.h"
#include "SettledClock.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

constexpr Instant kNow = 1795224600;

TEST(Session, TokenIsSessionUserAndDigest)
{
    // printf 'K+X' | sha1sum
    EXPECT_EQ(sessionToken({"S", "U", "K", 0}, "X"), "S+U+2f6264b98a04932759a55dd72dde7aec4462f346");
    // printf 'K+' | sha1sum
    EXPECT_EQ(sessionToken({"S", "U", "K", 0}, ""), "S+U+cf5e29e0fdd5ceb106e6e3eb19e3765d08386603");
}

TEST(Session, TheUserIsThatOfTheDeviceAndAllElseIsNew)
{
    test::TestStore db;
    const ViewerSession first = test::openTestSession(*db.viewers, "device", kNow, 60);
    const ViewerSession second = test::openTestSession(*db.viewers, "device", kNow + 1, 60);
    const ViewerSession other = test::openTestSession(*db.viewers, "another", kNow, 60);
    EXPECT_EQ(first.user, second.user);
    EXPECT_NE(first.user, other.user);
    EXPECT_EQ(
        (std::set<std::string>{first.id, second.id, other.id, first.seedkey, second.seedkey, other.seedkey}.size()),
        6U);
    EXPECT_EQ(first.expires, kNow + 60);
    EXPECT_EQ(first.user.find("device"), std::string::npos);
}

TEST(Session, EachPartOfTheTokenIsChecked)
{
    test::TestStore db;
    const ViewerSession session = test::openTestSession(*db.viewers, "device", kNow, 3600);
    const ViewerSession other = test::openTestSession(*db.viewers, "another", kNow, 3600);
    const std::string good = sessionToken(session, "secret");
    const std::string zeros(40, '0');
    std::string upper = good;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const struct {
        const char* what;
        std::string token;
        Instant now;
        TokenCheck expected;
    } rows[] = {
        {"good", good, kNow, TokenCheck::Good},
        {"good until it expires", good, kNow + 3599, TokenCheck::Good},
        {"expired", good, kNow + 3600, TokenCheck::Unknown},
        {"empty", "", kNow, TokenCheck::Malformed},
        {"one part", "abc", kNow, TokenCheck::Malformed},
        {"two parts", "a+b", kNow, TokenCheck::Malformed},
        {"short digest", good.substr(0, good.size() - 1), kNow, TokenCheck::Malformed},
        {"long digest", good + "0", kNow, TokenCheck::Malformed},
        {"unknown session", "x+" + session.user + "+" + zeros, kNow, TokenCheck::Unknown},
        {"wrong digest", session.id + "+" + session.user + "+" + zeros, kNow, TokenCheck::Wrong},
        {"wrong user", session.id + "+" + other.user + good.substr(good.size() - 41), kNow, TokenCheck::Wrong},
        {"another session's digest", other.id + "+" + other.user + good.substr(good.size() - 41), kNow,
         TokenCheck::Wrong},
        {"another secret", sessionToken(session, "Secret"), kNow, TokenCheck::Wrong},
        {"no secret", sessionToken(session, ""), kNow, TokenCheck::Wrong},
        {"injection", "' OR 1=1 --+u+" + zeros, kNow, TokenCheck::Unknown},
    };
    for (const auto& row : rows) {
        std::string user = "untouched";
        EXPECT_EQ(checkToken(*db.viewers, row.token, "secret", row.now, user), row.expected) << row.what;
        EXPECT_EQ(user, row.expected == TokenCheck::Good ? session.user : "untouched") << row.what;
    }
}

TEST(Session, SurvivesARestartUntilItExpires)
{
    TemporaryDatabase file;
    ViewerSession session;
    {
        session = test::openTestSession(*openViewers(file.path()), "device", kNow, 3600);
    }
    const std::unique_ptr<ViewerStore> viewers = openViewers(file.path());
    std::string user;
    EXPECT_EQ(checkToken(*viewers, sessionToken(session, "s"), "s", kNow, user), TokenCheck::Good);
    test::openTestSession(*viewers, "device", kNow + 3600, 3600);
    EXPECT_EQ(test::values(*viewers, "SELECT count(*) AS value FROM session"), std::vector<std::string>{"1"});
}

TEST(Session, ADeviceKeepsItsNewestSessions)
{
    test::TestStore db;
    SessionLimits limits;
    limits.perDevice = 3;
    std::vector<std::string> ids;
    for (int i = 0; i < 5; ++i) {
        ids.push_back(openSession(*db.viewers, "device", "", kNow + i, limits, 0).id);
    }
    const std::string other = openSession(*db.viewers, "another", "", kNow, limits, 0).id;
    std::vector<std::string> kept(ids.begin() + 2, ids.end());
    kept.push_back(other);
    EXPECT_THAT(test::values(*db.viewers, "SELECT id AS value FROM session"),
                ::testing::UnorderedElementsAreArray(kept));
}

TEST(Session, NewDevicesOfAnAddressAreLimited)
{
    test::TestStore db;
    SessionLimits limits;
    limits.newDevices = 3;
    int number = 0;
    const auto arrive = [&](const std::string& address, Instant now) {
        try {
            openSession(*db.viewers, "device " + std::to_string(number++), address, now, limits, 0);
            return true;
        } catch (const TooManyDevices&) {
            return false;
        }
    };
    const Instant hour = kNow / 3600 * 3600;
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(arrive("192.0.2.1", hour));
        EXPECT_TRUE(arrive("2001:db8::" + std::to_string(i + 1), hour));
    }
    EXPECT_FALSE(arrive("192.0.2.1", hour + 3599));
    EXPECT_FALSE(arrive("2001:db8::ffff", hour)) << "another address of the same network";
    EXPECT_TRUE(arrive("2001:db8:0:1::1", hour));
    EXPECT_TRUE(arrive("192.0.2.2", hour));
    EXPECT_NO_THROW(openSession(*db.viewers, "device 0", "192.0.2.1", hour, limits, 0)) << "a known device";
    EXPECT_TRUE(arrive("192.0.2.1", hour + 3600));
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(arrive(i % 2 == 0 ? "127.0.0.1" : "::1", hour)) << "this machine, or a proxy on it";
    }
}

TEST(Session, SessionsSurviveAJumpingClock)
{
    SettledClock clock;
    const SettledClock::Steady::time_point begin;
    const auto after = [&](int seconds) { return begin + std::chrono::seconds(seconds); };
    EXPECT_EQ(clock.settled(kNow, after(0)), 0) << "just started";
    EXPECT_EQ(clock.settled(kNow + 3599, after(3599)), 0);
    EXPECT_EQ(clock.settled(kNow + 3600, after(3600)), kNow + 3600);
    constexpr Instant kYear = 366 * 86400;
    EXPECT_EQ(clock.settled(kNow + 3700 + kYear, after(3700)), 0) << "a jump";
    EXPECT_EQ(clock.settled(kNow + 3800, after(3800)), 0) << "the jump back";
    EXPECT_EQ(clock.settled(kNow + 7430, after(7400)), kNow + 7430) << "a second's drift now and then";
}

TEST(Session, IsRememberedWhileTheStoreIsUnreachable)
{
    if (support::isOnPostgres()) {
        GTEST_SKIP() << "takes a file away";
    }
    test::TestStore db;
    const ViewerSession session = test::openTestSession(*db.viewers, "device", kNow, 3600);
    const ViewerSession other = test::openTestSession(*db.viewers, "another", kNow, 3600);
    SessionCheck check(*db.viewers);
    std::string user;
    EXPECT_EQ(check.check(sessionToken(session, "s"), "s", kNow, user), TokenCheck::Good);
    std::filesystem::remove(viewersBeside(db.file.path()));
    user.clear();
    EXPECT_EQ(check.check(sessionToken(session, "s"), "s", kNow, user), TokenCheck::Good);
    EXPECT_EQ(user, session.user);
    EXPECT_EQ(check.check(sessionToken(session, "x"), "s", kNow, user), TokenCheck::Wrong);
    EXPECT_EQ(check.check(sessionToken(session, "s"), "s", kNow + 3600, user), TokenCheck::Unknown);
    EXPECT_THROW(check.check(sessionToken(other, "s"), "s", kNow, user), StoreUnavailable);
}

TEST(Session, OnlyEqualSecretsMatch)
{
    EXPECT_TRUE(sameSecret("", ""));
    EXPECT_TRUE(sameSecret("abc", "abc"));
    EXPECT_FALSE(sameSecret("abc", "abd"));
    EXPECT_FALSE(sameSecret("abc", "ab"));
}

}  // namespace
}  // namespace corvaned
